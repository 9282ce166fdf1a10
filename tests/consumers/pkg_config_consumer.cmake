# Builds consumer.cpp the way a Makefile client would, with nothing but the
# compiler and what pkg-config says about the installed kevra.pc, then runs it.
# Usage: cmake -DPKG_CONFIG= -DCXX= -DPC_DIR= -DSOURCE= -DOUTPUT= -P pkg_config_consumer.cmake
set(ENV{PKG_CONFIG_LIBDIR} ${PC_DIR})
unset(ENV{PKG_CONFIG_PATH})

function(pkg_config out)
  execute_process(COMMAND ${PKG_CONFIG} ${ARGN} kevra OUTPUT_VARIABLE value RESULT_VARIABLE rc
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "pkg-config ${ARGN} kevra failed")
  endif()
  set(${out} "${value}" PARENT_SCOPE)
endfunction()
pkg_config(cflags --cflags)
pkg_config(libs --libs)
pkg_config(version --modversion)
pkg_config(libdir --variable=libdir)
separate_arguments(cflags UNIX_COMMAND "${cflags}")
separate_arguments(libs UNIX_COMMAND "${libs}")

get_filename_component(output_dir ${OUTPUT} DIRECTORY)
file(MAKE_DIRECTORY ${output_dir})
execute_process(COMMAND ${CXX} -std=c++17 -Wall -Wextra -Wpedantic -Werror ${cflags}
                        "-DKEVRA_PACKAGE_VERSION=\"${version}\"" ${SOURCE} -o ${OUTPUT} ${libs}
                        -Wl,-rpath,${libdir}
                RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "compiling the pkg-config consumer failed")
endif()
execute_process(COMMAND ${OUTPUT} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "the pkg-config consumer failed")
endif()

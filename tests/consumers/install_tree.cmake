# Installs the build into a fresh prefix and checks what a client receives:
# the interface's file and soname, $ORIGIN to reach the platform library, a
# header directory holding only kevra.h, and package files that name no
# build-tree or source-tree path (the tree can be moved).
# Usage: cmake -DBUILD_DIR= -DSOURCE_DIR= -DPREFIX= -DLIBDIR= -DINCLUDEDIR= -DCMAKEDIR= -DREADELF= -P install_tree.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "cmake --install failed")
endif()

set(problems "")
foreach(file ${INCLUDEDIR}/kevra.h ${LIBDIR}/libmorvane.kevra.so ${LIBDIR}/libmorvane.platform.so
             ${CMAKEDIR}/kevraConfig.cmake ${CMAKEDIR}/kevraConfigVersion.cmake ${CMAKEDIR}/kevraTargets.cmake
             ${LIBDIR}/pkgconfig/kevra.pc)
  if(NOT EXISTS ${PREFIX}/${file})
    string(APPEND problems "  not installed: ${file}\n")
  endif()
endforeach()

file(GLOB_RECURSE headers RELATIVE ${PREFIX}/${INCLUDEDIR} ${PREFIX}/${INCLUDEDIR}/*)
list(SORT headers)
if(NOT headers STREQUAL "kevra.h;kevra_scene.h")
  string(APPEND problems "  headers other than kevra.h and kevra_scene.h: ${headers}\n")
endif()
file(GLOB versioned RELATIVE ${PREFIX}/${LIBDIR} ${PREFIX}/${LIBDIR}/*.so.*)
if(versioned)
  string(APPEND problems "  versioned library names: ${versioned}\n")
endif()

execute_process(COMMAND ${READELF} -d ${PREFIX}/${LIBDIR}/libmorvane.kevra.so OUTPUT_VARIABLE dynamic RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${READELF} failed")
endif()
foreach(entry "SONAME[^\n]*\\[libmorvane\\.kevra\\.so\\]" "RUNPATH[^\n]*\\[\\$ORIGIN\\]"
              "NEEDED[^\n]*\\[libmorvane\\.platform\\.so\\]")
  if(NOT dynamic MATCHES "${entry}")
    string(APPEND problems "  libmorvane.kevra.so has no dynamic entry matching ${entry}\n")
  endif()
endforeach()

file(GLOB_RECURSE package_files ${PREFIX}/*.cmake ${PREFIX}/*.pc)
foreach(file IN LISTS package_files)
  file(READ ${file} text)
  foreach(tree ${SOURCE_DIR} ${BUILD_DIR} ${PREFIX})
    string(FIND "${text}" "${tree}" at)
    if(NOT at EQUAL -1)
      string(APPEND problems "  ${file} names ${tree}\n")
    endif()
  endforeach()
endforeach()

if(problems)
  message(FATAL_ERROR "installed tree under ${PREFIX}:\n${problems}")
endif()

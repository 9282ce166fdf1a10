# Install rules: the two shared libraries, the public header, a CMake package
# (find_package(kevra) -> kevra::kevra) and a pkg-config file, in the
# GNUInstallDirs places. Components: "runtime" (what a device needs) and
# "development" (header and package files).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(KEVRA_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/kevra CACHE STRING
    "Where the CMake package files of kevra are installed, relative to the prefix")

# The interface fixes both the file name and the soname to libmorvane.kevra.so,
# so the library gets no VERSION/SOVERSION (which would add .so.N names).
# The platform library is installed beside it and found through $ORIGIN.
set_target_properties(kevra PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(morvane_platform PROPERTIES EXPORT_NAME platform)

install(TARGETS kevra EXPORT kevraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS morvane_platform EXPORT kevraTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
# kevra.h includes nothing of the platform's, so util_log.h stays private.
install(FILES ${PROJECT_SOURCE_DIR}/include/kevra.h ${PROJECT_SOURCE_DIR}/include/kevra_scene.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

install(EXPORT kevraTargets NAMESPACE kevra:: FILE kevraTargets.cmake
  DESTINATION ${KEVRA_INSTALL_CMAKEDIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/kevraConfig.cmake.in
  ${PROJECT_BINARY_DIR}/kevraConfig.cmake INSTALL_DESTINATION ${KEVRA_INSTALL_CMAKEDIR})
# Before 1.0 a minor release may change the interface: 0.1.x satisfies a
# request for 0.1 but not for 0.2.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kevraConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kevraConfig.cmake ${PROJECT_BINARY_DIR}/kevraConfigVersion.cmake
  DESTINATION ${KEVRA_INSTALL_CMAKEDIR} COMPONENT development)

# kevra.pc locates the prefix from its own directory, so the installed tree
# can be moved (or installed with --prefix) without rewriting it.
function(kevra_pc_path out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(KEVRA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH _kevra_pc_up /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" _kevra_pc_up "${_kevra_pc_up}")
  set(KEVRA_PC_PREFIX "\${pcfiledir}/${_kevra_pc_up}")
endif()
kevra_pc_path(KEVRA_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
kevra_pc_path(KEVRA_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/kevra.pc.in ${PROJECT_BINARY_DIR}/kevra.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kevra.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

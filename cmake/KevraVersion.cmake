# The public header carries the version as macros for clients that check it at
# compile time; it must agree with project(VERSION), which the package files use.
file(STRINGS ${PROJECT_SOURCE_DIR}/include/kevra.h _kevra_version_lines
     REGEX "^#define KEVRA_VERSION_(MAJOR|MINOR|PATCH) ")
foreach(_part MAJOR MINOR PATCH)
  set(_kevra_header_${_part} "")
  foreach(_line IN LISTS _kevra_version_lines)
    if(_line MATCHES "^#define KEVRA_VERSION_${_part} +([0-9]+)$")
      set(_kevra_header_${_part} ${CMAKE_MATCH_1})
    endif()
  endforeach()
endforeach()
set(_kevra_header_version "${_kevra_header_MAJOR}.${_kevra_header_MINOR}.${_kevra_header_PATCH}")
if(NOT _kevra_header_version STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "include/kevra.h says version ${_kevra_header_version}, "
                      "project() says ${PROJECT_VERSION}: change both together")
endif()

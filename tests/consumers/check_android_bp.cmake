# Android.bp lists the library's sources by hand; CMake finds them by glob.
# Fails when the two disagree, or when a flag the results depend on is missing.
# Usage: cmake -DSOURCE_DIR=<repository> -P check_android_bp.cmake
file(READ ${SOURCE_DIR}/Android.bp bp)
string(REGEX REPLACE "//[^\n]*" "" bp "${bp}")

string(REGEX MATCHALL "\"[^\"]+\\.cpp\"" quoted "${bp}")
string(REPLACE "\"" "" listed "${quoted}")
set(duplicated ${listed})
list(REMOVE_DUPLICATES listed)
foreach(file IN LISTS listed)
  list(FIND duplicated ${file} first)
  list(REMOVE_AT duplicated ${first})
endforeach()

file(GLOB_RECURSE present RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/src/*.cpp ${SOURCE_DIR}/platform/*.cpp)
set(missing ${present})
set(stale ${listed})
if(listed)
  list(REMOVE_ITEM missing ${listed})
endif()
if(present)
  list(REMOVE_ITEM stale ${present})
endif()

set(problems "")
foreach(kind missing stale duplicated)
  if(${kind})
    list(SORT ${kind})
    string(REPLACE ";" "\n    " text "${${kind}}")
    string(APPEND problems "  ${kind}:\n    ${text}\n")
  endif()
endforeach()

foreach(required "\"-ffp-contract=off\"" "\"-fno-fast-math\"" "\"-fvisibility=hidden\""
                 "cpp_std: \"c++17\"" "rtti: true" "shared_libs: [\"liblog\"]")
  string(FIND "${bp}" "${required}" at)
  if(at EQUAL -1)
    string(APPEND problems "  lacks ${required}\n")
  endif()
endforeach()

if(problems)
  message(FATAL_ERROR "Android.bp is out of step with the CMake build:\n${problems}")
endif()
list(LENGTH listed count)
message(STATUS "Android.bp lists all ${count} sources")

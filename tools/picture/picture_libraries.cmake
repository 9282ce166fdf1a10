# Debian's picture libraries as one interface target, kevra_picture_libraries,
# for the tool and the fuzz targets; KEVRA_PICTURE_LIBRARIES_FOUND says whether
# they are all there. LibRaw is linked without its pkg-config flags, which add
# -fopenmp: the shared library brings its own OpenMP runtime.
include_guard(GLOBAL)
find_package(PkgConfig QUIET)
set(KEVRA_PICTURE_LIBRARIES_FOUND FALSE)
if(PkgConfig_FOUND)
  pkg_check_modules(KEVRA_PICTURE QUIET IMPORTED_TARGET libpng libjpeg libtiff-4 netpbm)
endif()
find_path(KEVRA_LIBRAW_INCLUDE libraw/libraw.h)
find_library(KEVRA_LIBRAW raw_r)
if(KEVRA_PICTURE_FOUND AND KEVRA_LIBRAW_INCLUDE AND KEVRA_LIBRAW)
  set(KEVRA_PICTURE_LIBRARIES_FOUND TRUE)
  add_library(kevra_picture_libraries INTERFACE)
  target_include_directories(kevra_picture_libraries INTERFACE ${KEVRA_LIBRAW_INCLUDE})
  target_link_libraries(kevra_picture_libraries INTERFACE PkgConfig::KEVRA_PICTURE ${KEVRA_LIBRAW})
endif()

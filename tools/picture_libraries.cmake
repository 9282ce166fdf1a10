# Debian's picture libraries as one interface target, kevra_picture_libraries,
# for the tool and the fuzz targets. LibRaw is linked without its pkg-config
# flags, which add -fopenmp: the shared library brings its own OpenMP runtime.
include_guard(GLOBAL)
find_package(PkgConfig REQUIRED)
pkg_check_modules(KEVRA_PICTURE REQUIRED IMPORTED_TARGET libpng libjpeg libtiff-4 netpbm)
find_path(KEVRA_LIBRAW_INCLUDE libraw/libraw.h REQUIRED)
find_library(KEVRA_LIBRAW raw_r REQUIRED)
add_library(kevra_picture_libraries INTERFACE)
target_include_directories(kevra_picture_libraries INTERFACE ${KEVRA_LIBRAW_INCLUDE})
target_link_libraries(kevra_picture_libraries INTERFACE PkgConfig::KEVRA_PICTURE ${KEVRA_LIBRAW})

# Cross build for 64-bit Arm Linux with the host's clang (the Android toolchain's
# compiler), against the same Debian cross sysroot, GCC runtime and GNU linker
# as aarch64-linux-gnu.cmake; ctest runs the test programs through qemu.
include(${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu.cmake)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)

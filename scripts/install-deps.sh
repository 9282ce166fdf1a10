#!/usr/bin/env bash
# Installs the Debian packages that building and testing need, when missing:
# compilers, CMake and Ninja, GoogleTest sources, the aarch64 cross compiler,
# qemu's user-mode emulator, the tool's JSON, argument-parsing and picture
# libraries, pybind11 with NumPy, pytest and Matplotlib for the Python module,
# pkg-config for the installed-package consumer test, and clang with its
# fuzzer and sanitizer runtimes for the fuzz targets. The aarch64 clang build
# needs nothing more: clang brings its own arm_neon.h and uses the GCC cross
# compiler's sysroot, runtime and GNU linker.
set -euo pipefail

packages=(cmake ninja-build g++ googletest g++-aarch64-linux-gnu qemu-user
          nlohmann-json3-dev libcli11-dev libbenchmark-dev pkgconf clang libclang-rt-dev
          libpng-dev libjpeg-dev libtiff-dev libraw-dev libnetpbm-dev
          python3-dev pybind11-dev python3-numpy python3-pytest python3-matplotlib)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}" >&2
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null

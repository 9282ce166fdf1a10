#!/usr/bin/env bash
# Builds and runs every test suite: native x86-64, aarch64 NEON under qemu, and
# native under AddressSanitizer + UndefinedBehaviorSanitizer.
# Usage: scripts/test.sh [native|aarch64|sanitize ...]   (default: all three)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

jobs=$(nproc)
suites=("$@")
[ ${#suites[@]} -gt 0 ] || suites=(native aarch64 sanitize)

configure() {
    local name=$1; shift
    cmake -S . -B "build/$name" -G Ninja -Wno-dev -DKEVRA_BUILD_TESTS=ON "$@" >/dev/null
}

summary=()
for suite in "${suites[@]}"; do
    case $suite in
        native)   configure native -DCMAKE_BUILD_TYPE=Release ;;
        aarch64)  configure aarch64 -DCMAKE_BUILD_TYPE=Release \
                      -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu.cmake" ;;
        sanitize) configure sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEVRA_SANITIZE=ON ;;
        *) echo "unknown suite: $suite" >&2; exit 2 ;;
    esac
    echo "== $suite: building" >&2
    cmake --build "build/$suite" -j "$jobs"
    echo "== $suite: testing" >&2
    start=$(date +%s)
    (cd "build/$suite" && ctest --output-on-failure -j "$jobs" --timeout 600) | tee "build/$suite/ctest.log"
    summary+=("$suite: $(grep -E 'tests passed' "build/$suite/ctest.log" | tail -n 1) in $(( $(date +%s) - start )) s")
done

echo
printf '%s\n' "${summary[@]}"

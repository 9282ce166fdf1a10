#!/usr/bin/env bash
# Builds and runs every test suite: native x86-64, aarch64 NEON under qemu
# (built with GCC, and again with clang, the Android toolchain's compiler),
# native under AddressSanitizer + UndefinedBehaviorSanitizer, a short run of
# every fuzz target (scripts/fuzz.sh), the concurrency tests under
# ThreadSanitizer, and the Python module's tests (pytest, on the native build).
# Usage: scripts/test.sh [native|python|aarch64|aarch64-clang|sanitize|fuzz|tsan ...]   (default: all seven)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

jobs=$(nproc)
suites=("$@")
[ ${#suites[@]} -gt 0 ] || suites=(native python aarch64 aarch64-clang sanitize fuzz tsan)
fuzz_seconds=40

configure() {
    local name=$1; shift
    cmake -S . -B "build/$name" -G Ninja -Wno-dev -DKEVRA_BUILD_TESTS=ON "$@" >/dev/null
}

summary=()
for suite in "${suites[@]}"; do
    begun=$(date +%s)
    build_args=()
    ctest_args=()
    case $suite in
        native)   configure native -DCMAKE_BUILD_TYPE=Release ;;
        aarch64)  configure aarch64 -DCMAKE_BUILD_TYPE=Release \
                      -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu.cmake" ;;
        aarch64-clang) configure aarch64-clang -DCMAKE_BUILD_TYPE=Release \
                      -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu-clang.cmake" ;;
        sanitize) configure sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEVRA_SANITIZE=ON ;;
        fuzz)
            scripts/fuzz.sh "$fuzz_seconds"
            summary+=("fuzz: every target clean for $fuzz_seconds s, $(( $(date +%s) - begun )) s with the build")
            continue ;;
        python)
            configure native -DCMAKE_BUILD_TYPE=Release -DKEVRA_BUILD_PYTHON=ON
            echo "== python: building" >&2
            cmake --build build/native -j "$jobs" --target kevra_python kevra_cli
            echo "== python: testing" >&2
            # Debian's interpreter, which the module is built for. pytest exits
            # with 5 when it collects no test: like any non-zero status, that
            # fails the suite (set -e, pipefail).
            PYTHONPATH="$PWD/build/native/python" KEVRA_TOOL="$PWD/build/native/tools/kevra" \
                /usr/bin/python3 -m pytest -q -p no:cacheprovider python/tests | tee build/native/pytest.log
            summary+=("python: $(tail -n 1 build/native/pytest.log | tr -d '=' | sed 's/^ *//; s/ *$//')")
            continue ;;
        tsan)     configure tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEVRA_SANITIZE=OFF -DKEVRA_BUILD_TOOLS=OFF \
                      -DCMAKE_CXX_FLAGS=-fsanitize=thread
                  build_args=(--target kevra_robustness_tests)
                  ctest_args=(-R '^Concurrency\.') ;;
        *) echo "unknown suite: $suite" >&2; exit 2 ;;
    esac
    echo "== $suite: building" >&2
    cmake --build "build/$suite" -j "$jobs" "${build_args[@]}"
    echo "== $suite: testing" >&2
    start=$(date +%s)
    (cd "build/$suite" && ctest --output-on-failure -j "$jobs" --timeout 600 "${ctest_args[@]}") | tee "build/$suite/ctest.log"
    summary+=("$suite: $(grep -E 'tests passed' "build/$suite/ctest.log" | tail -n 1) in $(( $(date +%s) - start )) s,\
 configure and build $(( start - begun )) s")
done

echo
printf '%s\n' "${summary[@]}"

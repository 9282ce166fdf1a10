#!/usr/bin/env bash
# Prints a Markdown table of the cost of each benchmarked stage per call:
# instructions executed by the aarch64 build (NEON and portable backends), from
# qemu with the instruction-counting plugin, running the stage 1 and 101 times
# and dividing the difference by 100; and x86-64 nanoseconds (SSE and portable
# backends), the median CPU time of Google Benchmark repetitions.
#
# Usage: scripts/perf-table.sh [STAGE ...]       (default: every stage)
# Environment: QEMU_INSN_SRC  the plugin source (default ../shared/tools/qemu-insn/insn.c)
#              BENCH_REPS     Google Benchmark repetitions (default 15)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

plugin_src=${QEMU_INSN_SRC:-../shared/tools/qemu-insn/insn.c}
reps=${BENCH_REPS:-15}
sysroot=/usr/aarch64-linux-gnu
mkdir -p build

# Stage of kevra_insn_driver -> its Google Benchmark name.
declare -A benchmark=(
    [parsing]=BM_HwStatisticParsing256
    [preprocess_plain]=BM_StatisticPreprocess/plain
    [preprocess_fixed]=BM_StatisticPreprocess/fixed_weights
    [preprocess_computed]=BM_StatisticPreprocess/computed_weights
    [design_rows]=BM_DesignRows256
    [matrix_multiplication]=BM_MatrixMultiplication256
    [inverse_ver2]=BM_InverseVer2
    [kevr_main]=BM_KevrMain256RowsTenIterations
    [confidence_index]=BM_ConfidenceIndex256Rows
    [scene_frame]=BM_SceneProcessFrame256
)

build() {  # name, targets (space-separated), cmake options
    local name=$1 targets=$2; shift 2
    cmake -S . -B "build/$name" -G Ninja -Wno-dev -DCMAKE_BUILD_TYPE=Release -DKEVRA_BUILD_TESTS=OFF \
        -DKEVRA_BUILD_TOOLS=OFF -DKEVRA_BUILD_BENCH=ON "$@" >/dev/null
    # shellcheck disable=SC2086
    cmake --build "build/$name" -j 2 --target $targets >/dev/null
}

echo "building the plugin and four configurations" >&2
gcc -shared -fPIC -O2 -o build/libinsn.so "$plugin_src" -Wl,--unresolved-symbols=ignore-all
cross=(-DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/aarch64-linux-gnu.cmake")
build perf-aarch64 kevra_insn_driver "${cross[@]}"
build perf-aarch64-portable kevra_insn_driver "${cross[@]}" -DKEVRA_SIMD_PORTABLE_ONLY=ON
build perf-native "kevra_bench kevra_insn_driver"
build perf-native-portable kevra_bench -DKEVRA_SIMD_PORTABLE_ONLY=ON

stages=("$@")
if [ ${#stages[@]} -eq 0 ]; then
    read -r -a stages < <(build/perf-native/bench/kevra_insn_driver 2>&1 | sed -n 's/^stages: //p')
fi

insns() {  # build, stage, repetitions
    local out
    out=$(mktemp)
    INSN_OUT=$out qemu-aarch64 -L "$sysroot" -plugin build/libinsn.so "build/$1/bench/kevra_insn_driver" "$2" "$3"
    awk '{print $2}' "$out"
    rm -f "$out"
}

per_call() {  # build, stage
    local one hundred_one
    one=$(insns "$1" "$2" 1)
    hundred_one=$(insns "$1" "$2" 101)
    echo $(( (hundred_one - one + 50) / 100 ))
}

median_ns() {  # build -> "name median" lines
    local filter
    filter=$(IFS='|'; echo "^(${benchmark[*]})\$")
    "build/$1/bench/kevra_bench" --benchmark_filter="$filter" --benchmark_repetitions="$reps" \
        --benchmark_report_aggregates_only=true --benchmark_format=csv 2>/dev/null |
        awk -F, '$1 ~ /_median"$/ { name = $1; gsub(/"/, "", name); sub(/_median$/, "", name);
                                    printf "%s %.1f\n", name, $4 }'
}

echo "timing on x86-64" >&2
declare -A sse portable
while read -r name ns; do sse[$name]=$ns; done < <(median_ns perf-native)
while read -r name ns; do portable[$name]=$ns; done < <(median_ns perf-native-portable)

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (a == "" || b == "" || b == 0) print "-"; else printf "%.2f", a / b }'; }

echo "Measured $(date -u +%Y-%m-%d) on $(lscpu | sed -n 's/^Model name: *//p' | head -n 1)" \
     "($(nproc) cores, shared); qemu-aarch64 $(qemu-aarch64 --version | sed -n '1s/.*version \([^ ]*\).*/\1/p')."
echo
echo "| stage | aarch64 NEON insns | aarch64 portable insns | portable / NEON | x86-64 SSE ns | x86-64 portable ns | portable / SSE |"
echo "|---|---:|---:|---:|---:|---:|---:|"
for stage in "${stages[@]}"; do
    echo "counting $stage" >&2
    neon=$(per_call perf-aarch64 "$stage")
    port=$(per_call perf-aarch64-portable "$stage")
    bm=${benchmark[$stage]:-}
    s=${sse[$bm]:-}
    p=${portable[$bm]:-}
    echo "| $stage | $neon | $port | $(ratio "$port" "$neon") | ${s:--} | ${p:--} | $(ratio "$p" "$s") |"
done

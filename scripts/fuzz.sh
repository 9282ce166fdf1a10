#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/) with clang under AddressSanitizer and
# UndefinedBehaviorSanitizer into build/fuzz, then runs each target for the
# given number of seconds, one after another, starting from the seed corpus in
# fuzz/corpus. New inputs go to build/fuzz/corpus, and a failing input to
# build/fuzz/artifacts; the script fails on the first target that finds one.
# Usage: scripts/fuzz.sh [seconds per target, default 60] [target ...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

seconds=${1:-60}
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(kevr_main confidence_index solver numeric_members scene capture_reader picture_stats)

# Longest input per target: a 256-row run with both streams, the row data of a
# long confidence call, the design rows of the least-squares step, a 256-row
# capture's text, a small picture file.
declare -A max_len=([kevr_main]=51200 [confidence_index]=65536 [solver]=8704 [numeric_members]=8192 [scene]=65536
                    [capture_reader]=131072 [picture_stats]=16384)
# The tool's targets get at most this long in a short (CI-sized, up to a
# minute) run; longer runs give every target the whole duration.
declare -A short_run=([capture_reader]=20 [picture_stats]=20)

cmake -S fuzz -B build/fuzz -G Ninja -Wno-dev -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/fuzz -j "$(nproc)"

mkdir -p build/fuzz/artifacts
for t in "${targets[@]}"; do
    [ -n "${max_len[$t]:-}" ] || { echo "unknown fuzz target: $t" >&2; exit 2; }
    mkdir -p "build/fuzz/corpus/$t"
    run=$seconds
    if [ "$seconds" -le 60 ] && [ -n "${short_run[$t]:-}" ] && [ "${short_run[$t]}" -lt "$seconds" ]; then
        run=${short_run[$t]}
    fi
    echo "== fuzz $t: ${run} s" >&2
    log="build/fuzz/$t.log"
    if ! "build/fuzz/kevra_fuzz_$t" -max_total_time="$run" -timeout=10 -max_len="${max_len[$t]}" \
            -print_final_stats=1 -artifact_prefix="build/fuzz/artifacts/$t-" \
            "build/fuzz/corpus/$t" "fuzz/corpus/$t" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        echo "fuzz $t: failed; the input is in build/fuzz/artifacts (log: $log)" >&2
        exit 1
    fi
    grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1 | sed "s/^/$t: /"
    grep -E '^stat::(number_of_executed_units|average_exec_per_sec)' "$log" | sed "s/^/$t: /"
done

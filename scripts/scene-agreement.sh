#!/usr/bin/env bash
# Runs every frame of a benchmark (kevra benchmark) through the scene
# classifier of the native build and of the aarch64 NEON build under qemu, and
# compares every answer and its evidence bit for bit.
# Usage: scripts/scene-agreement.sh BENCHMARK-DIR
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bench="$(cd "${1:?usage: scripts/scene-agreement.sh BENCHMARK-DIR}" && pwd)"
cd "$root"
scripts/install-deps.sh

for name in native aarch64; do
    args=(-DCMAKE_BUILD_TYPE=Release -DKEVRA_BUILD_TESTS=OFF -DKEVRA_BUILD_TOOLS=OFF -DKEVRA_BUILD_BENCH=ON)
    [ "$name" = aarch64 ] && args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/aarch64-linux-gnu.cmake")
    cmake -S . -B "build/replay-$name" -G Ninja -Wno-dev "${args[@]}" >/dev/null
    cmake --build "build/replay-$name" -j "$(nproc)" --target kevra_scene_replay >/dev/null
done

list="$(mktemp)"
out="$(mktemp -d)"
trap 'rm -rf "$list" "$out"' EXIT
# One line per frame, in sequence order: the classifier's inputs from each capture.
/usr/bin/python3 - "$bench" >"$list" <<'PY'
import json, os, sys
bench = sys.argv[1]
for s in json.load(open(os.path.join(bench, "manifest.json")))["sequences"]:
    for name in s["frames"]:
        path = os.path.join(bench, name)
        c = json.load(open(path))
        p, cfg = c["parameter"], c.get("config", {})
        where = os.path.dirname(path)
        ts = c.get("timestamp_ns", round(p.get("start_time", 0) * 1000))
        print(s["id"], ts, p["exposure_time"], p["line_time"], p["row_num"], cfg.get("lines_per_row", 12),
              os.path.join(where, c["sum_stream"]), os.path.join(where, c["count_stream"]))
PY
build/replay-native/bench/kevra_scene_replay "$list" >"$out/native"
qemu-aarch64 -L /usr/aarch64-linux-gnu build/replay-aarch64/bench/kevra_scene_replay "$list" >"$out/aarch64"
frames=$(wc -l <"$out/native")
if cmp -s "$out/native" "$out/aarch64"; then
    echo "scene agreement: $frames frames, every answer and evidence identical on x86-64 and aarch64"
else
    echo "scene agreement: the builds differ:" >&2
    diff "$out/native" "$out/aarch64" | head -n 20 >&2
    exit 1
fi

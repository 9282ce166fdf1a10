#!/usr/bin/env bash
# Installs what is missing, builds the native configuration quietly and runs
# `kevra detect` with the given arguments: on its built-in 50 Hz sample when
# no capture is named. Example: scripts/demo.sh --plot sample.svg
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="$root/build/native"

"$root/scripts/install-deps.sh"
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
if ! { cmake -S "$root" -B "$build" -G Ninja -Wno-dev -DCMAKE_BUILD_TYPE=Release &&
       cmake --build "$build" --target kevra_cli -j "$(nproc)"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "demo: the build failed (log above)" >&2
    exit 1
fi
exec "$build/tools/kevra" detect "$@"

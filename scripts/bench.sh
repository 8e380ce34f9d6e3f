#!/usr/bin/env bash
# Full measurements for docs/performance.md on a release build: idle wake-ups and memory
# (footprint_bench, 60 s), the platform function-call round trip beside a loopback echo, the
# companion round trip and the download throughput. Prints each program's table.
# usage: scripts/bench.sh [idle seconds (60)]
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-60}
cmake --preset release >/dev/null
cmake --build build/release -j2 --target plugagent footprint_bench platform_rtt_bench \
    ipc_roundtrip download_bench
b=build/release/bench
echo "machine: $(uname -m), $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 |
    sed 's/^ //'), $(date -u '+%Y-%m-%d %H:%M UTC')"
echo "=== idle wake-ups and memory (${secs} s idle, 1000 calls)"
"$b/footprint/footprint_bench" "$secs" 1000
echo "=== platform function call round trip (5000 calls) and loopback echo"
"$b/platsim/platform_rtt_bench" 5000
echo "=== companion round trip (5000)"
"$b/ipc/ipc_roundtrip" 5000
echo "=== download throughput (64 MB, 5 runs)"
"$b/update/download_bench" 64 5

#!/usr/bin/env bash
# Soak and fault injection on a release build: the agent binary against the platform, companion
# and router SDK simulators (1,000 platform drops, 1,000 companion reconnects, 10,000 function
# calls, then the injected faults). Prints descriptors, threads and Private_Dirty before and
# after; exits non-zero on growth or when the agent died. The ctest "soak_short" is a short run.
# usage: scripts/soak.sh [drops (1000)] [reconnects (1000)] [calls (10000)] [time scale (100)]
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset release >/dev/null
cmake --build build/release -j2 --target plugagent soak_driver
echo "machine: $(uname -m), $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 |
    sed 's/^ //'), $(date -u '+%Y-%m-%d %H:%M UTC')"
exec build/release/bench/soak/soak_driver "${1:-1000}" "${2:-1000}" "${3:-10000}" 1 "${4:-100}"

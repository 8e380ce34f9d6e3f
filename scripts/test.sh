#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite: the build with
# AddressSanitizer + UndefinedBehaviorSanitizer (which also runs the bench programs briefly), the
# build with ThreadSanitizer, the mbedTLS crypto build, the libFuzzer harnesses (a few seconds
# each), the router targets under qemu-user (s390x big-endian, armhf, mipsel, and the size of the
# size-optimised ARM and MIPS agents) and the packaging checks.
# Any failing test or sanitizer report fails the run: a test that fails once is a fault to fix,
# never rerun.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
export CTEST_OUTPUT_ON_FAILURE=1
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"

stage() {
    local preset=$1
    echo "=== ${preset}: configure and build"
    cmake --preset "$preset" >/dev/null
    cmake --build "build/${preset}" -j"$jobs"
    echo "=== ${preset}: tests"
    ctest --test-dir "build/${preset}" -j"$jobs" --timeout 300 2>&1 |
        tee "build/${preset}/ctest.log"
    # A sanitizer report fails the run even when its test passed (reports that do not halt).
    if grep -qE 'WARNING: ThreadSanitizer|ERROR: (Address|Leak)Sanitizer|runtime error:' \
        "build/${preset}/ctest.log"; then
        echo "=== ${preset}: sanitizer report in build/${preset}/ctest.log" >&2
        exit 1
    fi
}

# The libFuzzer harnesses (clang): each replays its corpus and fuzzes for a few seconds; any crash,
# leak, hang or sanitizer report fails the stage.
fuzz_stage() {
    echo "=== fuzz: configure and build"
    cmake --preset fuzz >/dev/null
    cmake --build build/fuzz -j"$jobs"
    echo "=== fuzz: harnesses"
    ctest --test-dir build/fuzz -L fuzz -j"$jobs" --timeout 120 2>&1 | tee build/fuzz/ctest.log
    if grep -qE 'ERROR: (Address|Leak)Sanitizer|runtime error:|ERROR: libFuzzer' \
        build/fuzz/ctest.log; then
        echo "=== fuzz: report in build/fuzz/ctest.log" >&2
        exit 1
    fi
}

# Each bench program in a short run from the sanitizer build: it must still work and print its
# figures; no timing threshold fails CI (scripts/bench.sh runs the full measurements on a release
# build). The suite itself runs in every flavour below; a separate plain build would add nothing
# the sanitizer build does not check.
bench_smoke() {
    echo "=== bench: short runs"
    local b=build/asan/bench
    "$b/footprint/footprint_bench" 3 50
    "$b/platsim/platform_rtt_bench" 200
    "$b/ipc/ipc_roundtrip" 200
    "$b/update/download_bench" 1 1
}

start=$(date +%s)
stage asan
bench_smoke
stage tsan
stage mbedtls
fuzz_stage
for extra in scripts/cross-test.sh scripts/check-packaging.sh; do
    if [ -x "$extra" ]; then
        echo "=== ${extra}"
        "$root/$extra"
    fi
done
echo "=== all stages passed in $(( $(date +%s) - start )) s"

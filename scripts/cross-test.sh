#!/usr/bin/env bash
# Cross builds for router CPUs, with the test suite run under qemu-user:
#   s390x          big-endian: the agent, the router SDK simulator and every test, run under
#                  qemu-s390x. Proves the wire formats give the same bytes on a big-endian host.
#   armhf          the usual router CPU: same build, tests under qemu-arm.
#   armhf-minsize  the size-optimised agent as a router image would carry it, stripped, with its
#                  size checked against 150 KB, 150,000 bytes (scripts/size-report.sh).
#   mipsel         little-endian 32-bit MIPS, the other usual router CPU: tests under qemu-mipsel.
#   mipsel-minsize its size-optimised stripped agent, size checked against 270,000 bytes (MIPS code
#                  is much larger than ARM Thumb-2 code).
# Usage: scripts/cross-test.sh [STAGE ...]   (default: every stage)
#
# Tests that cannot run under qemu-user carry the ctest label "no-qemu"; they are listed, then
# excluded here, and run in the native stages only.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=$(nproc 2>/dev/null || echo 2)
export CTEST_OUTPUT_ON_FAILURE=1
stages=("$@")
[ ${#stages[@]} -gt 0 ] || stages=(s390x armhf armhf-minsize mipsel mipsel-minsize)

cross_build() {
    local preset=$1 arch=$2
    scripts/cross-sysroot.sh "$arch" "build/sysroot/$arch"
    cmake --preset "$preset" >/dev/null
    cmake --build "build/$preset" -j"$jobs"
}

cross_tests() {
    local preset=$1
    local excluded
    excluded=$(ctest --test-dir "build/$preset" -N -L no-qemu | grep -c 'Test *#' || true)
    echo "=== $preset: $excluded test(s) labelled no-qemu are not run under qemu-user"
    ctest --test-dir "build/$preset" -N -L no-qemu | grep 'Test *#' || true
    ctest --test-dir "build/$preset" -j"$jobs" --timeout 300 -LE no-qemu
}

for stage in "${stages[@]}"; do
    start=$(date +%s)
    case "$stage" in
        s390x)
            cross_build s390x s390x
            cross_tests s390x
            ;;
        armhf)
            cross_build armhf armhf
            cross_tests armhf
            ;;
        armhf-minsize)
            cross_build armhf-minsize armhf
            scripts/size-report.sh build/armhf-minsize 150000
            ;;
        mipsel)
            cross_build mipsel mipsel
            cross_tests mipsel
            ;;
        mipsel-minsize)
            cross_build mipsel-minsize mipsel
            scripts/size-report.sh build/mipsel-minsize 270000
            ;;
        *)
            echo "cross-test.sh: unknown stage '$stage'" >&2
            exit 2
            ;;
    esac
    echo "=== $stage: passed in $(($(date +%s) - start)) s"
done

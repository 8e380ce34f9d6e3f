#!/usr/bin/env bash
# Installs a cross build of the agent stripped (cmake --install --strip) into a private
# DESTDIR and reports its size: file size, sections (size -A) and the largest symbols
# (nm --size-sort on the unstripped binary). Fails when the stripped agent reaches the
# budget (default 500 KB, not counting the shared libraries it links).
# Usage: scripts/size-report.sh BUILD_DIR [BUDGET_BYTES]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:?usage: size-report.sh BUILD_DIR [BUDGET_BYTES]}
budget=${2:-512000}
stage="$build/size-stage"
rm -rf "$stage"
DESTDIR="$PWD/$stage" cmake --install "$build" --prefix /usr --strip >/dev/null
agent="$stage/usr/bin/plugagent"
test -x "$agent" || { echo "size-report.sh: no agent installed at $agent" >&2; exit 1; }

# The binutils of the build's toolchain: CMAKE_NM is /usr/bin/<triplet>-nm in a cross build.
nm_tool=$(sed -n 's/^CMAKE_NM:FILEPATH=//p' "$build/CMakeCache.txt")
tool_prefix=${nm_tool%nm}
bytes=$(stat -c %s "$agent")
{
    echo "stripped agent: $bytes bytes ($((bytes / 1024)) KiB), budget $budget bytes"
    echo "--- sections (${tool_prefix}size -A)"
    "${tool_prefix}size" -A "$agent"
    echo "--- needed shared libraries"
    "${tool_prefix}readelf" -d "$agent" | grep NEEDED || true
    echo "--- largest symbols of the unstripped binary (${tool_prefix}nm --size-sort, top 25)"
    "${tool_prefix}nm" --size-sort --reverse-sort -C "$build/src/plugagent" | awk "NR <= 25"
} | tee "$build/size-report.txt"
if [ "$bytes" -ge "$budget" ]; then
    echo "size-report.sh: stripped agent is $bytes bytes, over the $budget-byte budget" >&2
    exit 1
fi

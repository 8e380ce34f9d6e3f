#!/usr/bin/env bash
# Builds the fuzz preset and runs every libFuzzer harness for a chosen time (default 60 s each),
# starting from its checked-in corpus; new inputs go to build/fuzz/runs/<name>, crashes to
# build/fuzz/crashes/. Then writes executions, executions per second and coverage per harness
# into the "Fuzzing" section of docs/reliability.md (other sections are left as they are).
# Usage: scripts/fuzz.sh [seconds-per-harness]
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
seconds=${1:-60}
case "$seconds" in '' | *[!0-9]*) echo "usage: $0 [seconds]" >&2; exit 2 ;; esac

jobs=$(nproc 2>/dev/null || echo 2)
cmake --preset fuzz >/dev/null
cmake --build build/fuzz -j"$jobs"

bin=build/fuzz/tests/fuzz
rows=""
failed=0
mkdir -p build/fuzz/crashes
for exe in "$bin"/fuzz_*; do
    name=${exe#"$bin"/fuzz_}
    corpus=tests/fuzz/corpus/$name
    work=build/fuzz/runs/$name
    log=build/fuzz/runs/$name.log
    mkdir -p "$work"
    echo "=== $name: ${seconds} s"
    status=ok
    if ! "$exe" -max_total_time="$seconds" -rss_limit_mb=1024 -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$root/build/fuzz/crashes/$name-" "$work" "$corpus" >"$log" 2>&1; then
        status=FAILED
        failed=1
        echo "=== $name: failed, see $log" >&2
    fi
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    cov=$(grep -oE 'cov: [0-9]+' "$log" | tail -1 | cut -d' ' -f2)
    rows+="| $name | ${execs:-?} | ${rate:-?} | ${cov:-?} | $status |"$'\n'
done

doc=docs/reliability.md
[ -f "$doc" ] || printf '# Reliability\n' >"$doc"
section=$(mktemp)
{
    echo "## Fuzzing"
    echo
    echo "libFuzzer harnesses (clang, AddressSanitizer + UndefinedBehaviorSanitizer) under"
    echo "tests/fuzz/, one per parser of outside bytes; each replays its corpus tests/fuzz/corpus/<name>/"
    echo "(seed inputs and every input that ever crashed) and then fuzzes. In the suite (ctest label"
    echo "\"fuzz\", CI stage \"fuzz\") each replays its corpus and fuzzes for 5 s."
    echo
    echo "Last run: \`scripts/fuzz.sh $seconds\` ($seconds s per harness, $(date -u +%Y-%m-%d),"
    echo "$jobs cores). Coverage is libFuzzer's \"cov:\" (edges reached) at the end of the run."
    echo
    echo "Harnesses (tests/fuzz/<name>.cpp; byte 0 of an input usually selects a mode):"
    echo
    echo "- recv_queue: bytes pushed to the platform receive queue (raw, or a frame built with the key"
    echo "  and then damaged), every popped frame through HandleOnReceipt and CBHandle with a"
    echo "  function-call and a plug-in data handler installed; no socket, replies fail to send."
    echo "- payloads: ParserPlug (data types 2, 4-7, 15, 16, 18), ParseRouteParam then AddRoute and"
    echo "  DeleteRoute (a stand-in \"iptables\" that exits 0 is first on PATH), ParseTcParam,"
    echo "  ParseSurfRulesParam."
    echo "- http_header: a loopback server answers DownTestRateFIle with the input: response header,"
    echo "  Content-Length, body, then the header line reader and the status code."
    echo "- config: plug.conf (every key the agent reads, also into 1- and 2-byte buffers) and"
    echo "  config_line_proc over NUL-separated arguments."
    echo "- arp: ARP table lines (filters and line parser) and the macconfig loader (Fn39LoadMac) in a"
    echo "  relocated directory."
    echo "- comm: companion frames through the request ring queue into CommHandleElement: acceptance"
    echo "  rules and every function ID's handler, the 88/997 configuration included."
    echo "- functions: ParserProtoolData for IDs 1-88 and unsupported IDs against the router SDK"
    echo "  simulator's built-in default state (PLUG_SDK_STATE unset: in memory, no file written per"
    echo "  call; reset after each input), time scaled 1000 times."
    echo
    echo "| harness | executions | executions/s | coverage | result |"
    echo "| --- | --- | --- | --- | --- |"
    printf '%s' "$rows"
    echo
    echo "The target is at least 10 million executions per parser with no crash and no hang. The"
    echo "figures above come from a short run and do not reach it; the full run is, per harness:"
    echo
    echo "    for h in build/fuzz/tests/fuzz/fuzz_*; do n=\${h##*/fuzz_}; mkdir -p build/fuzz/runs/\$n"
    echo "      \$h -runs=10000000 -rss_limit_mb=1024 -timeout=10 build/fuzz/runs/\$n tests/fuzz/corpus/\$n"
    echo "    done"
    echo
    echo "Harnesses that write a file per input write it under /dev/shm where it exists. The slowest"
    echo "is http_header (a loopback connection per input, about 3,000 inputs/s); the section \"Long"
    echo "fuzz runs\" holds the figures of the long runs."
    echo "A crash, leak or time-out is written to build/fuzz/crashes/ by scripts/fuzz.sh; its input"
    echo "goes into the harness's corpus with the fix."
} >"$section"
# Replace the Fuzzing section (up to the next "## " heading) or append it.
awk -v sec="$section" '
    BEGIN { while ((getline l < sec) > 0) body = body l "\n" }
    /^## Fuzzing$/ { printf "%s", body; skip = 1; done = 1; next }
    skip && /^## / { skip = 0; print ""; }
    !skip { print }
    END { if (!done) printf "\n%s", body }
' "$doc" >"$doc.new"
mv "$doc.new" "$doc"
rm -f "$section"
echo "=== figures written to $doc"
exit "$failed"

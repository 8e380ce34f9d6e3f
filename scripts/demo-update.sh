#!/usr/bin/env bash
# A plug-in update end to end on the bundled simulators, with the real start script
# (packaging/plugagent-start) supervising the real agent, all on this machine:
#   - the platform simulator (platformsim) as registration and login server on loopback,
#   - busybox httpd serving the update files on loopback,
#   - a small service loop standing in for procd/systemd: it starts plugagent-start again
#     whenever it ends, as the service files do,
#   - the agent (plugagent -d, time running 10 times faster) installed in a private directory,
#     on a private copy of the router SDK simulator's default router.
# It shows
#   1. the installed agent logging in;
#   2. a good update: the platform sends a plug-in update (data type 2) with the file's MD5, the
#      agent downloads it, reports status 004 and exits; the start script installs the file and
#      starts it, and the new agent logs in (status 003, a second login on the platform);
#   3. a broken update: a file with a right MD5 and ELF header that crashes at start; the start
#      script tries it three times and rolls back to the previous agent, which logs in again.
# Every step is checked: the script stops with a message and exit status 1 when one does not
# happen within the wait limit. It ends by itself.
#
# Usage: scripts/demo-update.sh [--build-dir DIR] [--wait SECONDS]
#   (default)        installs what is missing, builds the release targets, runs the demo
#   --build-dir DIR  uses the agent, simulators and router SDK simulator already built in DIR
#                    (a CMake build tree of this repository); nothing is installed or built.
#                    Exits 77 when busybox is missing. The test suite runs it this way.
#   --wait SECONDS   longest wait for each step (default 60; a step takes a few seconds)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

build=
wait_limit=60
while [ $# -gt 0 ]; do
    case $1 in
        --build-dir) build=${2:?--build-dir needs a directory}; shift 2 ;;
        --wait) wait_limit=${2:?--wait needs seconds}; shift 2 ;;
        *) echo "usage: $0 [--build-dir DIR] [--wait SECONDS]" >&2; exit 2 ;;
    esac
done
case $wait_limit in
    '' | *[!0-9]*) echo "--wait takes whole seconds" >&2; exit 2 ;;
esac

if [ -z "$build" ]; then
    scripts/install-deps.sh
    cmake --preset release >/dev/null
    cmake --build build/release -j"$(nproc 2>/dev/null || echo 2)" \
        --target plugagent platformsim RouterSdk
    build=$root/build/release
else
    build=$(cd "$build" && pwd)
    if ! command -v busybox >/dev/null; then
        echo "busybox is not installed (scripts/install-deps.sh installs it): skipped"
        exit 77
    fi
fi
agent_built=$build/src/plugagent
platformsim=$build/sim/platform/platformsim
for f in "$agent_built" "$platformsim"; do
    [ -x "$f" ] || { echo "$f is missing: build the plugagent and platformsim targets" >&2; exit 1; }
done
start_script=$root/packaging/plugagent-start

ulimit -c 0  # the broken update crashes on purpose; no core file
dir=$(mktemp -d "${TMPDIR:-/tmp}/plugupdate.XXXXXX")
run=$dir/run        # the agent's runtime directory (plugstatus, plug_download, CommServer)
bin=$dir/bin        # where the agent is installed, with plugagent.prev/.new/.state beside it
www=$dir/www        # what the HTTP server serves
agent=$bin/plugagent
log=$dir/agent.log  # standard error of the start script and the agent, as the system log holds it
mkdir -p "$run" "$bin" "$www"
pids=()
service_pid=
began=$(date +%s%N)

cleanup() {
    trap - EXIT
    if [ -n "$service_pid" ]; then
        : >"$dir/stop"
        kill -TERM -- "-$service_pid" 2>/dev/null || true
        for _ in $(seq 100); do kill -0 "$service_pid" 2>/dev/null || break; sleep 0.1; done
        kill -KILL -- "-$service_pid" 2>/dev/null || true
    fi
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

elapsed() {
    local ms=$((($(date +%s%N) - began) / 1000000))
    printf '%d.%d' $((ms / 1000)) $((ms % 1000 / 100))
}
title() { printf '\n== %s\n' "$*"; }
say() { printf '   %s\n' "$*"; }
ok() { printf '   ok [%5s s] %s\n' "$(elapsed)" "$*"; }
plain() { sed -e 's/\x1b\[[0-9;]*m//g' -e '/^$/d'; }
fail() {
    printf '\nFAILED after %s s: %s\n' "$(elapsed)" "$*" >&2
    {
        echo "----- service loop, start script and agent (last 60 lines of $log)"
        plain <"$log" | tail -n 60
        echo "----- platform simulator (last 20 lines)"
        tail -n 20 "$dir/platform.out"
        echo "----- HTTP server"
        cat "$dir/httpd.log" 2>/dev/null
        echo "----- files beside the agent: $(cd "$bin" && echo *)"
        echo "----- status file: $(cat "$run/plugstatus" 2>/dev/null || echo none)"
    } >&2
    exit 1
}
count() { grep -c -E -- "$2" "$1" 2>/dev/null || true; }
# expect DESCRIPTION FILE PATTERN [N]: waits until FILE holds N (default 1) lines matching the
# extended regular expression PATTERN; fails after the wait limit.
expect() {
    local n=${4:-1} deadline=$(($(date +%s) + wait_limit))
    while [ "$(count "$2" "$3")" -lt "$n" ]; do
        [ "$(date +%s)" -lt "$deadline" ] ||
            fail "$1 did not happen within $wait_limit s (waited for $n line(s) matching '$3' in $(basename "$2"))"
        sleep 0.1
    done
    ok "$1"
}
send() {
    say "platform> $*"
    echo "$*" >"$dir/ctl"
}
logins() { count "$dir/platform.out" ' srv=login type=10 '; }
md5() { md5sum "$1" | cut -d' ' -f1; }
build_of() { tail -c 64 "$1" | tr -d '\000' | grep -ao "plugagent demo build [0-9.]*"; }
# no_leftovers WHEN: only the agent itself is left in its directory.
no_leftovers() {
    local left
    left=$(cd "$bin" && echo *)
    [ "$left" = plugagent ] || fail "files beside the agent $1: $left"
}

# --- the simulators and the HTTP server
cp sim/sdk/default-state.json "$dir/router.json"
export PLUG_SDK_STATE=$dir/router.json PLUG_SDK_CALL_LOG=$dir/sdk-calls.log

"$platformsim" --key demo-key-123456 --interval 20 --fifo "$dir/ctl" \
    --ports-file "$dir/ports" --no-stdin >"$dir/platform.out" 2>&1 &
pids+=("$!")
for _ in $(seq 100); do [ -s "$dir/ports" ] && break; sleep 0.05; done
reg_port=$(sed -n 's/^reg=//p' "$dir/ports")
[ -n "$reg_port" ] || fail "the platform simulator did not start"

# busybox httpd cannot report an ephemeral port: try free-looking ports until one serves our probe.
probe=probe-$$-$RANDOM
echo "$probe" >"$www/probe"
http_port=
for _ in $(seq 10); do
    port=$((20000 + RANDOM % 40000))
    busybox httpd -f -vv -p "127.0.0.1:$port" -h "$www" 2>>"$dir/httpd.log" &
    httpd_pid=$!
    for _ in $(seq 20); do
        if [ "$(busybox wget -q -O - "http://127.0.0.1:$port/probe" 2>/dev/null)" = "$probe" ]; then
            http_port=$port
            break
        fi
        kill -0 "$httpd_pid" 2>/dev/null || break
        sleep 0.1
    done
    if [ -n "$http_port" ]; then pids+=("$httpd_pid"); break; fi
    kill "$httpd_pid" 2>/dev/null || true
    wait "$httpd_pid" 2>/dev/null || true
done
[ -n "$http_port" ] || fail "busybox httpd did not start on a loopback port"
rm -f "$www/probe"

cat >"$dir/plug.conf" <<CONF
[Dev]
PIN=123456789012
[Protool]
KEY=demo-key-123456
SERVER1=127.0.0.1
PORT=$reg_port
CONF

# The installed agent, and the two update files. Bytes appended to an ELF executable are never
# loaded, so a marker line at the end makes each file tell which one it is without changing
# what it does.
{ cat "$agent_built"; printf "\nplugagent demo build 2.0.0.7\n"; } >"$agent"
chmod 755 "$agent"
{ cat "$agent_built"; printf "\nplugagent demo build 2.0.0.8\n"; } >"$www/plugagent-2.0.0.8"
# A build cut short at 64 KiB: the right ELF header (the start script checks it), so it is
# installed, but the kernel maps segments the file does not have and it crashes at start.
head -c 65536 "$agent_built" >"$www/plugagent-2.0.0.9"

# --- the service: plugagent-start, started again whenever it ends (procd's respawn)
set -m  # the service loop gets its own process group: the cleanup stops it with everything in it
(
    set +e
    n=0
    while [ ! -e "$dir/stop" ]; do
        n=$((n + 1))
        echo "service: start $n of plugagent-start"
        PLUG_AGENT_BIN=$agent PLUG_RUNTIME_DIR=$run PLUG_TIME_SCALE=10 PLUG_LOGIN_TIMEOUT=30 \
            PLUG_TRIAL_POLL=0.2 PLUG_TRIAL_RESTART_DELAY=0.5 \
            "$start_script" -d -f "$dir/plug.conf" -m A1B2C3D4E5F6
        rc=$?
        echo "service: plugagent-start ended with status $rc (status file: $(cat "$run/plugstatus" 2>/dev/null || echo none))"
        sleep 1
    done
) </dev/null >>"$log" 2>&1 &
service_pid=$!
set +m

title "1. The installed agent (2.0.0.7) starts under plugagent-start and logs in"
say "runtime directory $run, agent $agent, log $log"
say "all agent files are copies of one build, so every login says version 2.0.0.7; a line"
say "appended to each file names it (bytes after the ELF contents are never loaded): $(build_of "$agent")"
expect "the agent logged in (\"Login done\")" "$log" 'Login done'
expect "the platform simulator saw login 1" "$dir/platform.out" ' srv=login type=10 ' 1
expect "status file says 003" "$run/plugstatus" '^003$'

title "2. Good update: 2.0.0.8, a working agent"
new_md5=$(md5 "$www/plugagent-2.0.0.8")
say "busybox httpd serves $www/plugagent-2.0.0.8 ($(wc -c <"$www/plugagent-2.0.0.8") bytes, MD5 $new_md5)"
send "plugdata plugin-update toVersion=2.0.0.8 url=http://127.0.0.1:$http_port/plugagent-2.0.0.8 fileMD5=$new_md5"
expect "the agent asked the HTTP server for the file" "$dir/httpd.log" "url:/plugagent-2.0.0.8"
expect "the agent verified the MD5 and reported success (DataType 3, result 0)" \
    "$dir/platform.out" 'dt=3 .*process\\":1,\\"result\\":0'
expect "the agent exited with status 255, status file 004" "$log" \
    'plugagent-start ended with status 255 \(status file: 004\)' 1
expect "plugagent-start installed the update" "$log" 'installed the plug-in update' 1
expect "the new agent logged in: login 2 on the platform simulator" "$dir/platform.out" \
    ' srv=login type=10 ' 2
expect "plugagent-start kept it (status 003 seen)" "$log" 'the updated agent logged in; keeping it' 1
cmp -s "$agent" "$www/plugagent-2.0.0.8" || fail "the installed agent is not the 2.0.0.8 file"
ok "the installed agent is the 2.0.0.8 file: $(build_of "$agent")"
no_leftovers "after the update was kept"
[ ! -e "$run/plug_download" ] || fail "the download was not removed"
ok "no plugagent.prev, .new or .state left, the download is gone"
cp -p "$agent" "$dir/installed-second"

title "3. Broken update: 2.0.0.9, a file cut short that crashes at start"
bad_md5=$(md5 "$www/plugagent-2.0.0.9")
say "busybox httpd serves $www/plugagent-2.0.0.9 ($(wc -c <"$www/plugagent-2.0.0.9") bytes, MD5 $bad_md5)"
send "plugdata plugin-update fromVersion=2.0.0.8 toVersion=2.0.0.9 url=http://127.0.0.1:$http_port/plugagent-2.0.0.9 fileMD5=$bad_md5"
expect "the agent asked the HTTP server for the file" "$dir/httpd.log" "url:/plugagent-2.0.0.9"
expect "the agent verified the MD5 and reported success" "$dir/platform.out" \
    'dt=3 .*process\\":1,\\"result\\":0' 2
expect "the agent exited with status 255, status file 004" "$log" \
    'plugagent-start ended with status 255 \(status file: 004\)' 2
expect "plugagent-start installed the update" "$log" 'installed the plug-in update' 2
expect "the new agent crashed at start, three times" "$log" \
    'exited with status [0-9]+ before logging in \(3 of 3\)' 1
expect "plugagent-start rolled back to the previous agent" "$log" 'rolling back to the previous agent' 1
expect "the previous agent logged in: login 3 on the platform simulator" "$dir/platform.out" \
    ' srv=login type=10 ' 3
expect "status file says 003" "$run/plugstatus" '^003$'
cmp -s "$agent" "$dir/installed-second" || fail "the installed agent is not the 2.0.0.8 file again"
ok "the installed agent is the 2.0.0.8 file again: $(build_of "$agent")"
no_leftovers "after the rollback"
ok "no plugagent.prev, .new or .state left"
[ "$(logins)" -eq 3 ] || fail "the platform simulator saw $(logins) logins, want 3"

title "What the start script and the service loop wrote"
plain <"$log" | grep -E '^(service|plugagent-start):'
title "Logins, update results and HTTP requests the simulators saw"
grep -E ' srv=login type=10 | dt=3 ' "$dir/platform.out"
grep -E "url:/plugagent" "$dir/httpd.log" || true
# A sanitizer build reports to standard error, and a report fails the run.
if grep -qE 'WARNING: ThreadSanitizer|ERROR: (Address|Leak)Sanitizer|runtime error:' \
    "$log" "$dir/platform.out"; then
    fail "sanitizer report in the agent's or the simulator's output"
fi
printf '\nupdate demo passed in %s s\n' "$(elapsed)"

#!/usr/bin/env bash
# Demo: the agent registers, logs in and answers a few platform requests, all on loopback.
# The platform simulator prints one line per frame it receives, decoded.
#
#   scripts/demo-platform.sh [build dir]      (default: build/debug)
set -euo pipefail

build=${1:-build/debug}
sim=$build/sim/platform/platformsim
agent=$build/src/plugagent
for f in "$sim" "$agent"; do
    [ -x "$f" ] || { echo "missing $f: build first (cmake --preset debug && cmake --build $build -j2)" >&2; exit 1; }
done

dir=$(mktemp -d "${TMPDIR:-/tmp}/plugdemo.XXXXXX")
sim_pid=''
agent_pid=''
cleanup() {
    [ -n "$agent_pid" ] && kill "$agent_pid" 2>/dev/null || true
    [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT

"$sim" --key demo-key-123456 --interval 20 --fifo "$dir/ctl" --ports-file "$dir/ports" \
    --no-stdin > "$dir/sim.out" &
sim_pid=$!
for _ in $(seq 100); do [ -s "$dir/ports" ] && break; sleep 0.05; done
reg_port=$(sed -n 's/^reg=//p' "$dir/ports")

cat > "$dir/plug.conf" <<CONF
[Dev]
PIN=123456789012
[Protool]
KEY=demo-key-123456
SERVER1=127.0.0.1
PORT=$reg_port
CONF

# Time runs 10 times faster in the agent: the 20-s heartbeat comes every 2 s.
PLUG_RUNTIME_DIR=$dir PLUG_TIME_SCALE=10 "$agent" -d -f "$dir/plug.conf" -m A1B2C3D4E5F6 \
    2> "$dir/agent.log" &
agent_pid=$!

wait_line() {  # wait_line PATTERN: until the simulator printed it (10 s at most)
    for _ in $(seq 200); do grep -q -- "$1" "$dir/sim.out" && return 0; sleep 0.05; done
    echo "timed out waiting for: $1" >&2
    return 1
}

wait_line 'type=1 '                       # logged in: first heartbeat
echo 'call 2' > "$dir/ctl"
echo 'call 89 0100 01' > "$dir/ctl"
echo 'plug 18 7 {"x":1}' > "$dir/ctl"
wait_line 'text="{\\"result\\"'
echo 'disconnect' > "$dir/ctl"
wait_line 'CLOSE conn=2'
cat "$dir/sim.out"
echo "status file: $(cat "$dir/plugstatus")"

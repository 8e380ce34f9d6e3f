#!/usr/bin/env bash
# The agent's main job on the bundled simulators, all on this machine: installs what is missing,
# builds, then runs
#   - the router SDK simulator (libRouterSdk.so) on a private copy of its default router,
#   - the platform simulator (platformsim) as registration and login server on loopback,
#   - the agent (plugagent -d, time running 10 times faster) in a private runtime directory,
#   - the companion simulator (companionsim) on the agent's companion socket,
# and shows registration, login, heartbeats, a few function calls answered by the simulated
# router and by the companion, a setting written back to the router, the LAN device list
# (function 64 asks, function 63 answers) and the companion's function-40 device reports, and a
# forced disconnect.
# Ends by itself.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build build/release -j"$(nproc 2>/dev/null || echo 2)" \
    --target plugagent platformsim companionsim RouterSdk

build=$root/build/release
dir=$(mktemp -d "${TMPDIR:-/tmp}/plugdemo.XXXXXX")
pids=()
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT
strip_colours() { sed -e 's/\x1b\[[0-9;]*m//g' | grep -v '^$'; }

cp sim/sdk/default-state.json "$dir/router.json"
export PLUG_SDK_STATE=$dir/router.json PLUG_SDK_CALL_LOG=$dir/sdk-calls.log

"$build/sim/platform/platformsim" --key demo-key-123456 --interval 20 --fifo "$dir/ctl" \
    --ports-file "$dir/ports" --no-stdin >"$dir/platform.out" &
pids+=("$!")
for _ in $(seq 100); do [ -s "$dir/ports" ] && break; sleep 0.05; done
reg_port=$(sed -n 's/^reg=//p' "$dir/ports")

cat >"$dir/plug.conf" <<CONF
[Dev]
PIN=123456789012
[Protool]
KEY=demo-key-123456
SERVER1=127.0.0.1
PORT=$reg_port
CONF

PLUG_RUNTIME_DIR=$dir PLUG_TIME_SCALE=10 "$build/src/plugagent" -d -f "$dir/plug.conf" \
    -m A1B2C3D4E5F6 2>"$dir/agent.log" &
agent_pid=$!
pids+=("$agent_pid")

wait_for() {  # wait_for FILE PATTERN: until FILE holds a line matching PATTERN (20 s at most)
    for _ in $(seq 400); do grep -q -- "$2" "$1" 2>/dev/null && return 0; sleep 0.05; done
    echo "timed out waiting for \"$2\" in $1" >&2
    return 1
}
send() { echo "$*" >"$dir/ctl"; }

wait_for "$dir/agent.log" 'Login done'
# The companion also sends a function-40 device list: two online devices, one offline.
"$build/sim/companion/companionsim" -s "$dir/CommServer" -e "set mesh 1" \
    -e "devlist 0200000040A1:1:demo-phone 0200000040A2:1 0200000040A3:0" \
    >"$dir/companion.out" 2>&1 </dev/null &
pids+=("$!")
wait_for "$dir/platform.out" ' type=1 '  # the first heartbeat
wait_for "$dir/agent.log" 'create a instance'

send fn 1                                  # firmware version
wait_for "$dir/platform.out" 'function: 1 '
send fn 44                                 # DNS servers
wait_for "$dir/platform.out" 'function: 44 '
send fn 45 dns1=9.9.9.9 dns2=1.1.1.1       # set the DNS servers
wait_for "$dir/platform.out" 'function: 45 '
send fn 44
wait_for "$dir/platform.out" 'dns1: 9.9.9.9'
send fn 73                                 # mesh switch, answered by the companion
wait_for "$dir/platform.out" 'function: 73 '
send fn 62                                 # not supported by this agent
wait_for "$dir/platform.out" 'text="parser error"'
send fn 64                                 # full LAN device list, uploaded as function 63
wait_for "$dir/platform.out" 'device list: '
wait_for "$dir/platform.out" 'online device: .*mac=02:00:00:00:40:A2'
wait_for "$dir/platform.out" ' type=1 .*' # one more heartbeat
send disconnect                            # forced disconnect: status 005, exit 255
status=0
wait "$agent_pid" || status=$?

echo "===== agent (standard error, first lines)"
strip_colours <"$dir/agent.log" | sed -n '1,40p'
echo "..."
echo "===== platform simulator (every frame it received, decoded)"
cat "$dir/platform.out"
echo "===== companion simulator"
cat "$dir/companion.out"
echo "===== router SDK simulator: calls made by the agent"
cat "$dir/sdk-calls.log"
echo "===== router state file after the calls: $(tr -d ' \t\n' <"$dir/router.json" | grep -o '"dns":{[^}]*}')"
echo "===== status file: $(cat "$dir/plugstatus"), agent exit status: $status"

#!/usr/bin/env bash
# The agent's main job on the bundled simulators: installs what is missing, builds, and runs the
# agent (debug logging, accelerated clock) against the router SDK simulator and a registration
# server address, in a private runtime directory. Ends by itself.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build build/release -j"$(nproc 2>/dev/null || echo 2)"

run=$(mktemp -d /tmp/plugdemo.XXXXXX)
trap 'rm -rf "$run"' EXIT
bin="$root/build/release/src/plugagent"

cat >"$run/plug.conf" <<CONF
[Dev]
PIN=123456789012
[Protool]
KEY=0123456789abcdef
SERVER1=127.0.0.1
PORT=6039
CONF
echo "--- plug.conf"
cat "$run/plug.conf"
echo "--- agent: test mode on 127.0.0.1, nothing listens; time runs 200x faster"
status=0
PLUG_RUNTIME_DIR="$run" PLUG_TIME_SCALE=200 timeout 120 "$bin" -d -f "$run/plug.conf" \
    -m 0A1B2C3D4E5F 2>&1 | sed -e 's/\x1b\[[0-9;]*m//g' | grep -v '^$' | head -n 80 || status=$?
echo "--- status file: $(cat "$run/plugstatus" 2>/dev/null)"
exit 0

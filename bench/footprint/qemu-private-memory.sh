#!/usr/bin/env bash
# Idle private memory of a cross-built agent run under qemu-user (mipsel, armhf or s390x).
# The platform and companion simulators run natively; the agent logs in, the companion connects,
# and after SECONDS of idling the guest's Private_Dirty is summed over the qemu process's
# mappings inside the guest address window. The guest base is fixed with -B, so every guest
# page lies in one known 4-GiB range and qemu's own memory lies outside it.
# usage: bench/footprint/qemu-private-memory.sh ARCH [seconds=20] [native build=build/release]
#        [cross build=build/ARCH]
# (needs build/ARCH from scripts/cross-test.sh ARCH, and platformsim + companionsim natively)
set -euo pipefail
cd "$(dirname "$0")/../.."
arch=$1 secs=${2:-20} native=${3:-build/release} cross=${4:-build/$1}
case "$arch" in
    mipsel) triplet=mipsel-linux-gnu qemu=qemu-mipsel ;;
    armhf) triplet=arm-linux-gnueabihf qemu=qemu-arm ;;
    s390x) triplet=s390x-linux-gnu qemu=qemu-s390x ;;
    *) echo "unknown ARCH $arch" >&2; exit 2 ;;
esac
dir=$(mktemp -d)
pids=()
cleanup() {
    for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$dir"
}
trap cleanup EXIT

cp sim/sdk/default-state.json "$dir/router.json"
"$native/sim/platform/platformsim" --key bench-key-123456 --interval 20 --fifo "$dir/ctl" \
    --ports-file "$dir/ports" --no-stdin >"$dir/platform.out" 2>&1 &
pids+=("$!")
for _ in $(seq 100); do [ -s "$dir/ports" ] && break; sleep 0.05; done
printf '[Dev]\nPIN=123456789012\n[Protool]\nKEY=bench-key-123456\nSERVER1=127.0.0.1\nPORT=%s\n' \
    "$(sed -n 's/^reg=//p' "$dir/ports")" >"$dir/plug.conf"

base=0x100000000
libs=$PWD/$cross/sim/sdk:$PWD/build/sysroot/$arch/usr/lib/$triplet
"$qemu" -B "$base" -L "/usr/$triplet" -E "LD_LIBRARY_PATH=$libs" -E "PLUG_RUNTIME_DIR=$dir" \
    -E "PLUG_SDK_STATE=$dir/router.json" "$cross/src/plugagent" -f "$dir/plug.conf" \
    -m A1B2C3D4E5F6 >"$dir/agent.log" 2>&1 &
agent=$!
pids+=("$agent")
for _ in $(seq 600); do grep -q 003 "$dir/plugstatus" 2>/dev/null && break; sleep 0.1; done
grep -q 003 "$dir/plugstatus" 2>/dev/null || { echo "the agent did not log in" >&2; exit 1; }
"$native/sim/companion/companionsim" -s "$dir/CommServer" >"$dir/companion.out" 2>&1 </dev/null &
pids+=("$!")
sleep "$secs"
sync
echo "$arch agent under $qemu, logged in, companion connected, ${secs} s idle"
lo=$((base)) hi=$((base + (1 << 32))) inwin=0 name= total=0
declare -A kb
while read -r first rest; do
    if [[ $first =~ ^([0-9a-f]+)-[0-9a-f]+$ ]]; then
        a=$((16#${BASH_REMATCH[1]}))
        inwin=$((a >= lo && a < hi))
        read -r _ _ _ _ name <<<"$rest"
        name=${name:-[anonymous]}
    elif [ "$inwin" = 1 ] && [ "$first" = Private_Dirty: ]; then
        kb[$name]=$((${kb[$name]:-0} + ${rest%% *}))
        total=$((total + ${rest%% *}))
    fi
done <"/proc/$agent/smaps"
for n in "${!kb[@]}"; do [ "${kb[$n]}" = 0 ] || printf '%8d kB  %s\n' "${kb[$n]}" "$n"; done | sort -n
printf '%8d kB  guest Private_Dirty in all\n' "$total"

#!/usr/bin/env bash
# Checks what ships beside the agent, each against a tool or a behaviour rather than by eye:
#   1. the sources: no input check relies on assert (release builds compile it out);
#   2. the shell scripts: shellcheck (the procd init script in the sh dialect);
#   3. the procd init script: start_service run with recording stand-ins for procd's functions;
#      the start script that installs a verified plug-in update, run against host executables;
#   4. a CMake install into a DESTDIR: the expected files, the unit's paths follow the prefix;
#   5. the systemd unit: systemd-analyze verify (any warning fails) and a strict key check;
#   6. the OpenWrt package Makefile: its install and metadata run against a stand-in build tree.
# Installs shellcheck and systemd when missing. Usage: scripts/check-packaging.sh
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
work="$root/build/packaging-check"
rm -rf "$work"
mkdir -p "$work"
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }
pass() { echo "ok:   $*"; }
# expect_same WHAT FILE EXPECTED: the file's content must be EXPECTED exactly.
expect_same() {
    if [ "$(cat "$2")" = "$3" ]; then
        pass "$1"
    else
        fail "$1, difference (expected < > actual):"
        diff <(echo "$3") "$2" >&2 || true
    fi
}

need=()
command -v shellcheck >/dev/null || need+=(shellcheck)
command -v systemd-analyze >/dev/null || need+=(systemd)
command -v make >/dev/null || need+=(make)
if [ ${#need[@]} -gt 0 ]; then
    SUDO=""
    [ "$(id -u)" -eq 0 ] || SUDO="sudo"
    $SUDO apt-get update -qq || echo "check-packaging.sh: apt-get update reported errors" >&2
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${need[@]}"
fi

# 1. assert disappears with NDEBUG, so it must never stand between input and a buffer.
if grep -rnE '(^|[^_[:alnum:]])assert[[:space:]]*\(|<cassert>|<assert\.h>' src include sim \
    2>/dev/null; then
    fail "assert in the agent or simulator sources (lines above): use an explicit check"
else
    pass "no assert in src/, include/, sim/"
fi

# 2. shellcheck
init=packaging/openwrt/plugagent/files/plugagent.init
if shellcheck -s sh "$init"; then pass "shellcheck -s sh $init"; else fail "shellcheck $init"; fi
for f in packaging/plugagent-start tests/targets/plugagent-start-test.sh; do
    if shellcheck -s sh "$f"; then pass "shellcheck -s sh $f"; else fail "shellcheck $f"; fi
done
if shellcheck scripts/*.sh; then pass "shellcheck scripts/*.sh"; else fail "shellcheck scripts"; fi

# 3. procd calls of the init script: record them with stand-ins, then compare.
conf="$work/plug.conf"
cp packaging/plug.conf.example "$conf"
sh -c '
    procd_open_instance() { echo "open"; }
    procd_close_instance() { echo "close"; }
    procd_set_param() { echo "param $*"; }
    . "$1"
    CONF=$2
    start_service
' plugagent-init "$init" "$conf" >"$work/procd.calls"
expected="open
param command /usr/libexec/plugagent-start -d -f $conf
param respawn 3600 30 0
param stderr 1
param stdout 1
param file $conf
close"
expect_same "procd instance: respawn 3600 30 0 (never give up), stderr to the log, restart on \
its config file" "$work/procd.calls" "$expected"
if grep -qx 'USE_PROCD=1' "$init"; then pass "USE_PROCD=1"; else fail "no USE_PROCD=1"; fi
if sh -c '. "$1"; CONF=/nonexistent/plug.conf; start_service' x "$init" 2>/dev/null; then
    fail "start_service succeeds without a configuration file"
else
    pass "start_service refuses to start without a configuration file"
fi

# 3b. plugagent-start with real executables: only a verified update (status 004) for this
# machine is tried; any other state leaves the installed agent alone. Host executables stand in
# for the agent: "true" as the installed one, "false" as the update, so the exit status shows
# which one ran last. "false" never logs in, so a tried update is rolled back after its third
# exit. (tests/targets/plugagent-start-test.sh covers the trial, the keep, the rollback and the
# power cuts with stand-in agents that log in.)
start_script=packaging/plugagent-start
# start_case NAME STATUS DOWNLOAD(-|true-copy|false-copy|text|other-cpu) WANT_RC WANT_AGENT WANT_DL
start_case() {
    local name=$1 status=$2 dl=$3 want_rc=$4 want_agent=$5 want_dl=$6 dir rc
    dir="$work/start-$name"
    mkdir -p "$dir/run" "$dir/bin"
    cp "$(type -P true)" "$dir/bin/plugagent"
    [ "$status" = - ] || printf '%s\n' "$status" >"$dir/run/plugstatus"
    case "$dl" in
        false) cp "$(type -P false)" "$dir/run/plug_download" ;;
        text) printf 'not a program\n' >"$dir/run/plug_download" ;;
        other-cpu)
            cp "$(type -P false)" "$dir/run/plug_download"
            printf '\026' | dd of="$dir/run/plug_download" bs=1 seek=18 conv=notrunc 2>/dev/null
            ;;
    esac
    rc=0
    PLUG_AGENT_BIN="$dir/bin/plugagent" PLUG_RUNTIME_DIR="$dir/run" PLUG_TRIAL_POLL=0.1 \
        PLUG_TRIAL_RESTART_DELAY=0 "$start_script" -d 2>"$dir/log" || rc=$?
    local agent_is=other dl_is=absent
    cmp -s "$dir/bin/plugagent" "$(type -P true)" && agent_is=old
    cmp -s "$dir/bin/plugagent" "$(type -P false)" && agent_is=new
    [ -e "$dir/run/plug_download" ] && dl_is=kept
    if [ "$rc/$agent_is/$dl_is" = "$want_rc/$want_agent/$want_dl" ] &&
        [ -z "$(find "$dir/run" "$dir/bin" -name '*.hdr*' -o -name 'plugagent.*')" ]; then
        pass "plugagent-start, $name: exit $rc, $agent_is agent, download $dl_is"
    else
        fail "plugagent-start, $name: got $rc/$agent_is/$dl_is, want $want_rc/$want_agent/$want_dl"
        cat "$dir/log" >&2
    fi
}
start_case no-download 004 - 0 old absent
start_case verified-update-never-logs-in 004 false 0 old absent
tried=$(grep -c 'exited with status 1 before logging in' \
    "$work/start-verified-update-never-logs-in/log")
if [ "$tried" = 3 ]; then
    pass "plugagent-start tried the verified update three times before the rollback"
else
    fail "plugagent-start tried the verified update $tried times, want 3"
fi
start_case unverified-download 104 false 0 old kept
start_case no-status-file - false 0 old kept
start_case not-a-program 004 text 0 old absent
start_case other-cpu 004 other-cpu 0 old absent
# The options reach the agent unchanged.
mkdir -p "$work/start-args/run"
printf '#!/bin/sh\nprintf "%%s|" "$@"\n' >"$work/start-args/agent"
chmod +x "$work/start-args/agent"
args=$(PLUG_AGENT_BIN="$work/start-args/agent" PLUG_RUNTIME_DIR="$work/start-args/run" \
    "$start_script" -d -f "/etc/plug conf")
expect_same "plugagent-start passes the agent's options unchanged" <(echo "$args") \
    "-d|-f|/etc/plug conf|"

# 4. install into a DESTDIR
build="$work/build"
sim=OFF
[ -f sim/sdk/CMakeLists.txt ] && sim=ON
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DPLUG_BUILD_TESTS=OFF \
    -DPLUG_INSTALL_SIM="$sim" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
cmake --build "$build" -j"$(nproc 2>/dev/null || echo 2)" >/dev/null
dest="$work/destdir"
DESTDIR="$dest" cmake --install "$build" >/dev/null
(cd "$dest" && find . -type f -o -type l | sort) >"$work/installed.txt"
expected_files="./etc/plug.conf.example
./usr/bin/plugagent
./usr/lib/systemd/system/plugagent.service
./usr/libexec/plugagent-start
./usr/share/plugagent/openwrt/plugagent.init"
if [ "$sim" = ON ]; then
    if grep -qE '^\./usr/lib/([^/]+/)?libRouterSdk\.so$' "$work/installed.txt"; then
        pass "PLUG_INSTALL_SIM=ON installs the router SDK simulator"
    else
        fail "PLUG_INSTALL_SIM=ON did not install libRouterSdk.so"
    fi
    grep -vE '^\./usr/lib/([^/]+/)?libRouterSdk\.so$' "$work/installed.txt" >"$work/installed-nosim.txt"
else
    echo "note: sim/sdk not in this tree, PLUG_INSTALL_SIM not exercised"
    cp "$work/installed.txt" "$work/installed-nosim.txt"
fi
expect_same "DESTDIR install: agent, config template, systemd unit, OpenWrt init script" \
    "$work/installed-nosim.txt" "$expected_files"
# Default options (PLUG_INSTALL_SIM OFF): configured only, its install scripts must leave the
# simulator out.
cmake -S . -B "$work/build-local" -DCMAKE_INSTALL_PREFIX=/usr/local -DPLUG_BUILD_TESTS=OFF \
    >/dev/null
if grep -rl --include=cmake_install.cmake 'RouterSdk' "$work/build-local" >/dev/null; then
    fail "the default install (PLUG_INSTALL_SIM=OFF) would install the router SDK simulator"
else
    pass "the default install leaves the router SDK simulator out"
fi
grep -E '^(ExecStart|ConditionPathExists)=' "$work/build-local/packaging/plugagent.service" \
    >"$work/unit-local.txt"
grep '^agent=' "$work/build-local/packaging/plugagent-start" >>"$work/unit-local.txt"
expect_same "unit and start script paths follow CMAKE_INSTALL_PREFIX (/usr/local)" \
    "$work/unit-local.txt" "ConditionPathExists=/usr/local/etc/plug.conf
ExecStart=/usr/local/libexec/plugagent-start -d -f /usr/local/etc/plug.conf
agent=\${PLUG_AGENT_BIN:-/usr/local/bin/plugagent}"

# 5. systemd unit
unit="$dest/usr/lib/systemd/system/plugagent.service"
if scripts/check-unit.sh "$unit"; then
    pass "strict unit check of plugagent.service"
else
    fail "strict unit check of plugagent.service"
fi
# systemd-analyze verify wants the ExecStart binary to exist: point it at the staged one.
mkdir -p "$work/unit"
sed "s|/usr/libexec/plugagent-start|$dest/usr/libexec/plugagent-start|" "$unit" \
    >"$work/unit/plugagent.service"
if systemd-analyze verify "$work/unit/plugagent.service" >"$work/verify.log" 2>&1 &&
    [ ! -s "$work/verify.log" ]; then
    pass "systemd-analyze verify plugagent.service"
else
    cat "$work/verify.log" >&2
    fail "systemd-analyze verify plugagent.service"
fi

# 6. OpenWrt package Makefile against a stand-in build tree
ipkg="$work/ipkg"
if make -s -C packaging/openwrt/plugagent TOPDIR="$root/packaging/tests" \
    PKG_INSTALL_DIR="$dest" IPKG_ROOT="$ipkg" check; then
    (cd "$ipkg" && find . -type f -printf '%p %m\n' | sort) >"$work/ipkg.txt"
    want="./etc/init.d/plugagent 755
./etc/plug.conf 600
./usr/bin/plugagent 755
./usr/libexec/plugagent-start 755"
    expect_same "OpenWrt package contents and modes" "$work/ipkg.txt" "$want"
    version=$(sed -n 's/^project(plugagent VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
    meta_want="name=plugagent
version=$version
depends=+libopenssl +cJSON +libstdcpp
conffiles=/etc/plug.conf
cmake_mk=included"
    expect_same "OpenWrt package metadata: version $version, depends, conffile, cmake.mk" \
        "$ipkg.meta" "$meta_want"
    cmp -s "$ipkg/etc/init.d/plugagent" "$init" || fail "OpenWrt package init script differs"
else
    fail "OpenWrt package Makefile did not run"
fi

if [ "$failures" -gt 0 ]; then
    echo "packaging checks: $failures failed" >&2
    exit 1
fi
echo "packaging checks: all passed"

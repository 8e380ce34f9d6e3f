#!/bin/sh
# Runs packaging/plugagent-start on a plug-in update with stand-in agents (small shell scripts
# that write status codes to a private status file) in a private directory, without root:
#   - an update that logs in is kept, also when it exits once first;
#   - one that exits repeatedly, or never logs in within the login time, is rolled back;
#   - a stop before login, or a power cut (SIGKILL) after each step of the install, the trial,
#     the keep and the rollback, leaves a runnable agent, and the next start ends with one agent
#     in place and nothing left over;
#   - an agent missing beside a kept previous one is replaced by that one.
# Usage: plugagent-start-test.sh START_SCRIPT sh|busybox   (the shell that runs the script)
set -u
script=$1
top=$(mktemp -d "${TMPDIR:-/tmp}/plugstart.XXXXXX")
failures=0
spid=

cleanup() {
	[ -z "$spid" ] || kill -KILL "$spid" 2>/dev/null
	for f in "$top"/*/run/ran; do
		[ -f "$f" ] && while read -r _ pid; do kill -KILL "$pid" 2>/dev/null; done <"$f"
	done
	rm -rf "$top"
}
trap cleanup EXIT
fail() {
	echo "FAIL: $case: $*"
	sed 's/^/    /' "$d/log"
	failures=$((failures + 1))
}

shell="$top/shell"
case $2 in
busybox)
	command -v busybox >/dev/null || { echo "busybox is not installed"; exit 77; }
	printf '#!/bin/sh\nexec busybox sh "$@"\n' >"$shell"
	;;
*) printf '#!/bin/sh\nexec %s "$@"\n' "$2" >"$shell" ;;
esac
chmod +x "$shell"

# stand_in FILE NAME good|crash|mute|flaky: an agent that notes its name and pid in run/ran and
# then logs in and runs until stopped (good), exits before login (crash), runs without logging in
# (mute), or exits at its first run only (flaky). The same first 20 bytes pass the ELF check.
stand_in() {
	cat >"$1" <<EOF
#!/bin/sh
# plugagent stand-in
echo "$2 \$\$" >>"\$PLUG_RUNTIME_DIR/ran"
st="\$PLUG_RUNTIME_DIR/plugstatus"
case $3 in
crash) printf '001\n' >"\$st"; exit 255 ;;
mute) printf '101\n' >"\$st"; exec sleep 300 ;;
flaky) [ -e "\$st.once" ] || { : >"\$st.once"; exit 255; } ;;
esac
printf '001\n' >"\$st"
printf '003\n' >"\$st"
exec sleep 300
EOF
	chmod 755 "$1"
}

# setup CASE BEHAVIOUR: a good installed agent, a verified download of the given behaviour.
setup() {
	case=$1
	d="$top/$1"
	mkdir -p "$d/bin" "$d/run"
	: >"$d/log"
	stand_in "$d/old" old good
	stand_in "$d/new" new "$2"
	cp -p "$d/old" "$d/bin/plugagent"
	cp "$d/new" "$d/run/plug_download"
	printf '004\n' >"$d/run/plugstatus"
}

# start [NAME=VALUE...]: runs the start script in the background with a 2 s login time.
start() {
	env PLUG_AGENT_BIN="$d/bin/plugagent" PLUG_RUNTIME_DIR="$d/run" PLUG_LOGIN_TIMEOUT=2 \
		PLUG_TRIAL_POLL=0.1 PLUG_TRIAL_RESTART_DELAY=0 "$@" "$shell" "$script" -d \
		>>"$d/log" 2>&1 &
	spid=$!
}

# wait_for WHAT COMMAND...: polls COMMAND until it succeeds, for at most a minute.
wait_for() {
	what=$1
	shift
	n=0
	until "$@"; do
		n=$((n + 1))
		[ "$n" -lt 600 ] || { fail "$what: not within a minute"; return 1; }
		sleep 0.1
	done
}
script_ended() { ! kill -0 "$spid" 2>/dev/null; }
ran() { cut -d' ' -f1 "$d/run/ran" 2>/dev/null | tr '\n' ' '; }
runs() { [ -f "$d/run/ran" ] && wc -l <"$d/run/ran" || echo 0; }
# alive PID: the process runs (a zombie left to an init that does not reap counts as ended).
alive() { kill -0 "$1" 2>/dev/null && ! grep -q '^[0-9]* ([^)]*) Z' "/proc/$1/stat" 2>/dev/null; }
# agents_ended WHEN: every stand-in started so far has ended.
agents_ended() {
	[ -f "$d/run/ran" ] || return 0
	while read -r _ pid; do
		! alive "$pid" || fail "agent $pid still running $1"
	done <"$d/run/ran"
}
# logged_in_as RUNS NAME: more than RUNS agents have run, the last one NAME; it logged in and
# the start script has finished with the files beside it.
logged_in_as() {
	[ "$(runs)" -gt "$1" ] && [ "$(tail -n1 "$d/run/ran" | cut -d' ' -f1)" = "$2" ] &&
		[ "$(cat "$d/run/plugstatus" 2>/dev/null)" = 003 ] &&
		[ ! -e "$d/bin/plugagent.state" ] && [ ! -e "$d/bin/plugagent.prev" ]
}
in_place() { cmp -s "$d/bin/plugagent" "$d/$1" && [ -x "$d/bin/plugagent" ] &&
	[ "$(ls "$d/bin")" = plugagent ] && [ ! -e "$d/run/plug_download" ]; }

# stop: ends the service as procd or systemd would (TERM) and checks that no agent is left.
stop() {
	kill -TERM "$spid"
	wait_for "script ends on TERM" script_ended
	wait "$spid"
	agents_ended "after the stop"
}

# run_case CASE BEHAVIOUR none|term|STEP EXPECTED [RUNS]: a first start stopped (TERM) before
# login or cut (SIGKILL) after STEP leaves the installed binary one of the two agents at once;
# then a start ends with EXPECTED logged in and alone in place, RUNS the agents it started.
run_case() {
	setup "$1" "$2"
	if [ "$3" = term ]; then
		start
		wait_for "trial start" grep -qs new "$d/run/ran" || return
		stop
	elif [ "$3" != none ]; then
		start PLUG_START_CUT_AFTER="$3"
		wait_for "cut after $3" script_ended
		agents_ended "after the cut"
	fi
	if ! [ -x "$d/bin/plugagent" ] || ! { cmp -s "$d/bin/plugagent" "$d/old" ||
		cmp -s "$d/bin/plugagent" "$d/new"; }; then
		fail "after the cut the agent binary is neither agent"
	fi
	before=$(runs)
	start
	wait_for "login of the $4 agent" logged_in_as "$before" "$4" || { stop; return; }
	[ -z "${5-}" ] || [ "$(ran)" = "$5" ] || fail "agents run: '$(ran)', want '$5'"
	in_place "$4" || fail "installed: $(ls "$d/bin"), want only the $4 agent"
	stop
}
run_case good-update good none new "new "
run_case exits-once flaky none new "new new "
run_case crashes crash none old "new new new old "
run_case never-logs-in mute none old "new old "
run_case stop-in-trial mute term old
for cut in copied:new saved:new marked:new cleared:old installed:old started:old committed:new; do
	run_case "cut-${cut%:*}" good "${cut%:*}" "${cut#*:}"
done
for cut in rollback-marked restored; do
	run_case "cut-$cut" crash "$cut" old
done
# No update under way, the agent missing beside a kept previous one: that one is restored.
setup agent-missing good
rm "$d/run/plug_download"
mv "$d/bin/plugagent" "$d/bin/plugagent.prev"
start
wait_for "login of the restored agent" logged_in_as 0 old &&
	{ in_place old || fail "installed: $(ls "$d/bin")"; }
stop

if [ "$failures" -gt 0 ]; then
	echo "plugagent-start ($2): $failures failed"
	exit 1
fi
echo "plugagent-start ($2): all cases passed"

#!/usr/bin/env bash
# Strict check of the agent's systemd unit, independent of systemd-analyze (which needs a
# working systemd to load units): known sections and keys only, each key once, and the
# restart policy the agent relies on (it exits on purpose and must always come back).
# Usage: scripts/check-unit.sh UNIT_FILE
set -euo pipefail
unit=${1:?usage: check-unit.sh UNIT_FILE}

awk '
function bad(msg) { printf "%s:%d: %s\n", FILENAME, NR, msg > "/dev/stderr"; errors++ }
BEGIN {
    split("Description Documentation Wants Requires After Before ConditionPathExists " \
          "StartLimitIntervalSec StartLimitBurst", u, " ")
    for (i in u) allowed["Unit", u[i]] = 1
    split("Type ExecStart ExecReload Restart RestartSec StandardOutput StandardError " \
          "SyslogIdentifier Environment WorkingDirectory TimeoutStopSec KillMode", s, " ")
    for (i in s) allowed["Service", s[i]] = 1
    split("WantedBy Alias", n, " ")
    for (i in n) allowed["Install", n[i]] = 1
}
/^[ \t]*(#|;|$)/ { next }
/[ \t]$/ { bad("trailing blank") }
/^\[/ {
    if ($0 !~ /^\[(Unit|Service|Install)\]$/) bad("unknown section " $0)
    section = substr($0, 2, length($0) - 2); seen_section[section] = 1; next
}
{
    eq = index($0, "=")
    if (eq < 2) { bad("not a key=value line"); next }
    key = substr($0, 1, eq - 1); value = substr($0, eq + 1)
    if (key ~ /[ \t]/) bad("blank in key " key)
    if (!((section, key) in allowed)) bad("unknown key " key " in [" section "]")
    if ((section, key) in value_of) bad("key " key " given twice")
    value_of[section, key] = value
}
END {
    if (!seen_section["Unit"] || !seen_section["Service"] || !seen_section["Install"])
        bad("needs [Unit], [Service] and [Install]")
    if (value_of["Unit", "StartLimitIntervalSec"] != "0")
        bad("StartLimitIntervalSec=0 missing in [Unit]: systemd would stop restarting")
    if (value_of["Service", "Restart"] != "always") bad("Restart=always missing")
    r = value_of["Service", "RestartSec"]; rn = r + 0
    if (r !~ /^[0-9]+$/ || rn < 1 || rn > 30) bad("RestartSec must be a few seconds, not \"" r "\"")
    if (value_of["Service", "ExecStart"] !~ /^\/[^ ]*plugagent(-start)?( |$)/)
        bad("ExecStart must run plugagent or plugagent-start by absolute path")
    if (value_of["Install", "WantedBy"] == "") bad("WantedBy missing")
    exit errors > 0
}
' "$unit"

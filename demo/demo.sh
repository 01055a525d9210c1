#!/bin/bash
# The main job in front of your eyes: a virtual switch, a stock snmpd with the module, reads, writes, a trap, a restricted user.
# Every step checks what it shows; the exit status is 0 only when all did what they say.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/lab.sh"

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Shows a command as it would be typed, and what it prints, which must match the pattern.
show() {
  local pattern=$1 command=$2 out status=0
  printf '$ %s\n' "$command"
  out=$(eval "$command" 2>&1) || status=$?
  printf '%s\n' "$out"
  [ "$status" = "${3:-0}" ] || { echo "FAILED: exit status $status"; exit 1; }
  grep -qE -- "$pattern" <<<"$out" || { echo "FAILED: expected to see: $pattern"; exit 1; }
}

# The same of a command that is to fail.
show_refused() { show "$1" "$2" 2; }

trap_arrived() { grep -q "$1" traps.log; }

lab_start "$1"
echo "In $LAB: switchd with its store switch.db, snmpd on $AGENT, snmptrapd on udp:127.0.0.1:$TRAP_PORT."
echo "vsanctl is on the PATH; MIBDIRS=$MIBDIRS MIBS=$MIBS"
R="-v2c -c public -Os $AGENT"
W="-v2c -c private -Os $AGENT"
T="$V3_TENANT -Os $AGENT"

say 'How many VSANs there are, and how many interfaces'
show 'vsanNumber\.0 = INTEGER: 6' "snmpget $R vsanNumber.0 vsanIfNumber.0"

say "The VSAN table, out of the VSAN manager's store"
show 'vsanName.10 = STRING: production-a' "snmpwalk $R vsanName"
show 'vsanOperState.10 = INTEGER: up\(1\)' "snmpwalk $R vsanOperState"
show 'production-a' 'vsanctl --run-dir run show vsan'

say 'A VSAN is created and named in one PDU, one message; then renamed'
show 'demo-vsan' "snmpset $W vsanName.50 s demo-vsan vsanRowStatus.50 i createAndGo"
show 'renamed' "snmpset $W vsanName.50 s renamed"
show 'vsanName.50 = STRING: renamed' "snmpget $R vsanName.50"
show 'renamed' "sqlite3 switch.db 'SELECT name FROM vsan WHERE id = 50'"

say 'An interface moves into it; the switch raises a notification, the module sends the trap'
IF=$(snmpwalk -v2c -c public -On -Oq "$AGENT" vsanIfVsan | head -1 | sed 's/.*\.\([0-9]*\) .*/\1/')
show 'INTEGER: 50' "snmpset $W vsanIfVsan.$IF i 50"
wait_for trap_arrived 'vsanPortMembershipChange.*vsanNotifiedVsan.0 = 50'
wait_for trap_arrived 'vsanStatusChange.*vsanOperState.50 = up'
show 'vsanPortMembershipChange.*vsanSwitchWwn.0 = ' 'grep vsanPortMembershipChange traps.log'
show 'vsanStatusChange.*vsanOperState.50 = up' 'grep vsanStatusChange traps.log'
show "vsanMembershipSummaryInterface.50.$IF = INTEGER: $IF" "snmpwalk $R vsanMembershipSummaryInterface"

say 'A v3 user whose role is VSANs 10 and 20 sees those two and no others, and can set no others'
show 'vsanName.20' "snmpwalk $T vsanName"
show '^2$' "snmpwalk $T vsanName | wc -l"
show_refused 'genError' "snmpset $T vsanName.50 s mine"
show '0x4049002C' 'vsanctl --run-dir run show errors'

say 'What the module did, from the event history'
show 'set_vsanName' 'vsanctl --run-dir run history | grep set_vsanName | tail -3'

say 'All steps did what they say.'

#!/bin/bash
# The main job in front of your eyes: a virtual switch, a stock snmpd with the module, reads, writes, a trap, a restricted user.
# Every step checks what it shows; the exit status is 0 only when all did what they say.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/lab.sh"

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Shows a command and its output, and fails unless the output matches the pattern.
show() {
  local pattern=$1 out
  shift
  printf '$ %s\n' "$*"
  out=$("$@" 2>&1) || { printf '%s\nFAILED: exit status %d\n' "$out" $?; exit 1; }
  printf '%s\n' "$out"
  grep -qE -- "$pattern" <<<"$out" || { echo "FAILED: expected to see: $pattern"; exit 1; }
}

ctl() { "$BIN/vsanctl" --run-dir "$LAB/run" "$@"; }
trap_arrived() { grep -q "$1" "$LAB/traps.log"; }

lab_start "$1"
echo "switchd serves $LAB/switch.db; snmpd listens on $AGENT; snmptrapd on udp:127.0.0.1:$TRAP_PORT"
R=(-v2c -c public -Os "$AGENT")
W=(-v2c -c private -Os "$AGENT")

say 'How many VSANs there are, and how many interfaces'
show 'vsanNumber\.0 = INTEGER: 6' snmpget "${R[@]}" VSAN-MIB::vsanNumber.0 VSAN-MIB::vsanIfNumber.0

say "The VSAN table, out of the VSAN manager's store"
show 'vsanName.10 = STRING: production-a' snmpwalk "${R[@]}" VSAN-MIB::vsanName
show 'vsanOperState.10 = INTEGER: up\(1\)' snmpwalk "${R[@]}" VSAN-MIB::vsanOperState
show 'production-a' ctl show vsan

say 'A VSAN is created and named in one PDU, one message; then renamed'
show 'demo-vsan' snmpset "${W[@]}" VSAN-MIB::vsanName.50 s demo-vsan VSAN-MIB::vsanRowStatus.50 i createAndGo
show 'renamed' snmpset "${W[@]}" VSAN-MIB::vsanName.50 s renamed
show 'vsanName.50 = STRING: renamed' snmpget "${R[@]}" VSAN-MIB::vsanName.50
show 'renamed' sqlite3 "$LAB/switch.db" 'SELECT name FROM vsan WHERE id = 50'

say 'An interface moves into it; the switch raises a notification, the module sends the trap'
IF=$(snmpwalk -v2c -c public -On -Oq "$AGENT" VSAN-MIB::vsanIfVsan | head -1 | sed 's/.*\.\([0-9]*\) .*/\1/')
show 'INTEGER: 50' snmpset "${W[@]}" VSAN-MIB::vsanIfVsan."$IF" i 50
wait_for trap_arrived 'vsanPortMembershipChange.*vsanNotifiedVsan.0 = 50'
wait_for trap_arrived 'vsanStatusChange.*vsanOperState.50 = up'
show 'vsanPortMembershipChange.*vsanSwitchWwn.0 = ' grep vsanPortMembershipChange "$LAB/traps.log"
show 'vsanStatusChange.*vsanOperState.50 = up' grep vsanStatusChange "$LAB/traps.log"
show "vsanMembershipSummaryInterface.50.$IF = INTEGER: $IF" snmpwalk "${R[@]}" VSAN-MIB::vsanMembershipSummaryInterface

say 'A v3 user whose role is VSANs 10 and 20 sees those, and no others'
show 'vsanName.20' snmpwalk "${V3_TENANT[@]}" -Os "$AGENT" VSAN-MIB::vsanName
[ "$(snmpwalk "${V3_TENANT[@]}" -Os "$AGENT" VSAN-MIB::vsanName | wc -l)" = 2 ] || { echo 'FAILED: more than two rows'; exit 1; }
show 'genError' bash -c 'snmpset "$@" 2>&1 || true' - "${V3_TENANT[@]}" -Os "$AGENT" VSAN-MIB::vsanName.50 s mine
show '4049002c|4049002C' ctl show errors

say 'What the module did, from the event history'
show 'set_vsanName' bash -c '"$@" | grep set_vsanName | tail -3' - "$BIN/vsanctl" --run-dir "$LAB/run" history

say 'All steps did what they say.'

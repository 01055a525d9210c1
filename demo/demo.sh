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
VSAN=$ROOT_OID.1.1.3.1
R=(-v2c -c public -On "$AGENT")
W=(-v2c -c private -On "$AGENT")

say 'How many VSANs there are, and how many interfaces'
show '\.1\.1\.1\.0 = INTEGER: 6' snmpget "${R[@]}" $ROOT_OID.1.1.1.0 $ROOT_OID.1.2.4.0

say "The VSAN table, out of the VSAN manager's store"
show '"production-a"' snmpwalk "${R[@]}" $VSAN.2
show '\.3\.1\.8\.10 = INTEGER: 1' snmpwalk "${R[@]}" $VSAN.8
show 'production-a' ctl show vsan

say 'A VSAN is created and named in one PDU, one message; then renamed'
show 'demo-vsan' snmpset "${W[@]}" $VSAN.2.50 s demo-vsan $VSAN.9.50 i 4
show 'renamed' snmpset "${W[@]}" $VSAN.2.50 s renamed
show '"renamed"' snmpget "${R[@]}" $VSAN.2.50
show 'renamed' sqlite3 "$LAB/switch.db" 'SELECT name FROM vsan WHERE id = 50'

say 'An interface moves into it; the switch raises a notification, the module sends the trap'
IF=$(snmpwalk -v2c -c public -On -Oq "$AGENT" $ROOT_OID.1.2.5.1.1 | head -1 | sed 's/.*\.\([0-9]*\) .*/\1/')
show 'INTEGER: 50' snmpset "${W[@]}" $ROOT_OID.1.2.5.1.1."$IF" i 50
wait_for trap_arrived "$ROOT_OID.1.3.0.2"
wait_for trap_arrived "$ROOT_OID.1.3.0.1"
show "$ROOT_OID.1.3.0.2" grep -A1 "$ROOT_OID.1.3.0.2" "$LAB/traps.log"
show "50\.$IF = INTEGER: $IF" snmpwalk "${R[@]}" $ROOT_OID.1.2.8.1.1

say 'A v3 user whose role is VSANs 10 and 20 sees those, and no others'
show '\.1\.1\.3\.1\.2\.20' snmpwalk "${V3_TENANT[@]}" -On "$AGENT" $VSAN.2
[ "$(snmpwalk "${V3_TENANT[@]}" -On "$AGENT" $VSAN.2 | wc -l)" = 2 ] || { echo 'FAILED: more than two rows'; exit 1; }
show 'genError' bash -c 'snmpset "$@" 2>&1 || true' - "${V3_TENANT[@]}" -On "$AGENT" $VSAN.2.50 s mine
show '4049002c|4049002C' ctl show errors

say 'What the module did, from the event history'
show 'set_vsanName' bash -c '"$@" | grep set_vsanName | tail -3' - "$BIN/vsanctl" --run-dir "$LAB/run" history

say 'All steps did what they say.'

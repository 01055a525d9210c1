#!/bin/bash
# The demo's set-up, left running in the foreground until Ctrl-C.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/lab.sh"

lab_start "$1" "${2:-}"
cat <<EOF
A virtual switch is running. Everything is in $LAB; Ctrl-C stops it.

  export MIBDIRS="$MIBDIRS" MIBS=$MIBS PATH="$BIN:\$PATH"
  snmpwalk -v2c -c public  -Os $AGENT vsanMIB
  snmpset  -v2c -c private -Os $AGENT vsanName.10 s new-name
  snmpwalk $V3_OPERATOR -Os $AGENT vsanMIB
  snmpwalk $V3_TENANT -Os $AGENT vsanMIB      # sees VSANs 10 and 20 only
  vsanctl --run-dir $LAB/run show vsan
  vsanctl --run-dir $LAB/run history -f
  tail -f $LAB/traps.log
EOF
trap 'exit 0' INT TERM
wait "$SWITCHD_PID"

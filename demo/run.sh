#!/bin/bash
# The demo's set-up, left running in the foreground until Ctrl-C.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/lab.sh"

lab_start "$1" "${2:-}"
cat <<EOF
A virtual switch is running. Everything is in $LAB; Ctrl-C stops it.

  export MIBS=
  snmpwalk -v2c -c public  -On $AGENT $ROOT_OID
  snmpset  -v2c -c private -On $AGENT $ROOT_OID.1.1.3.1.2.10 s new-name
  snmpwalk ${V3_OPERATOR[*]} -On $AGENT $ROOT_OID
  snmpwalk ${V3_TENANT[*]} -On $AGENT $ROOT_OID      # sees VSANs 10 and 20 only
  $BIN/vsanctl --run-dir $LAB/run show vsan
  $BIN/vsanctl --run-dir $LAB/run history -f
  tail -f $LAB/traps.log
EOF
trap 'exit 0' INT TERM
wait "$SWITCHD_PID"

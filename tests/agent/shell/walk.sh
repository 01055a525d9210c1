#!/bin/sh
# A walk with net-snmp's own tool: walk.sh PORT COMMUNITY ROOT
#
# Prints a line a value: OID, type, value; octets are lower-case hex.
snmpbulkwalk -m '' -v2c -c "$2" -On -Oe -OU -Ox "udp:127.0.0.1:$1" "$3" | awk '
  $3 == "INTEGER:" || $3 == "Gauge32:" { sub(":", "", $3); print $1, $3, $4 }
  $3 == "Timeticks:" { gsub("[()]", "", $4); print $1, "TimeTicks", $4 }
  $3 == "Hex-STRING:" { hex = ""; for (i = 4; i <= NF; ++i) hex = hex tolower($i); print $1, "OCTETS", hex }'

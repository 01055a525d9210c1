# A lab on loopback: switchd, a stock snmpd with the module, and snmptrapd, in a temporary directory. Sourced by demo.sh and run.sh.
# Sets LAB (the directory), SNMP_PORT, TRAP_PORT and the client commands' common options.

# The tools print names: our MIB file, and what it imports.
SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export MIBDIRS=$SOURCE/mibs:$SOURCE/mibs/standard
export MIBS=VSAN-MIB:SNMPv2-MIB

V3_OPERATOR="-v3 -l authPriv -u operator -a SHA-256 -A operator-auth-key -x AES -X operator-priv-key"
V3_TENANT="-v3 -l authPriv -u tenant -a SHA-256 -A tenant-auth-key -x AES -X tenant-priv-key"

# A port other than $1 that no socket has now; the kernel lists them in hexadecimal.
free_udp_port() {
  local port
  for _ in $(seq 100); do
    port=$((20000 + RANDOM % 12000))
    [ "$port" != "${1:-}" ] || continue
    grep -qi "$(printf ':%04x ' "$port")" /proc/net/udp /proc/net/udp6 2>/dev/null || break
  done
  echo "$port"
}

# Waits, ten seconds at most, until a command succeeds.
wait_for() {
  local tries=100
  until "$@" >/dev/null 2>&1; do
    tries=$((tries - 1))
    [ "$tries" -gt 0 ] || { echo "gave up waiting for: $*" >&2; return 1; }
    sleep 0.1
  done
}

lab_configure() {
  cat >"$LAB/snmpd.conf" <<EOF
createUser operator SHA-256 operator-auth-key AES operator-priv-key
createUser tenant SHA-256 tenant-auth-key AES tenant-priv-key
com2sec reader default public
com2sec writer default private
group readers v2c reader
group writers v2c writer
group writers usm operator
group tenants usm tenant
view all included .1
access readers "" any noauth exact all none none
access writers "" any noauth exact all all all
access tenants "" any noauth exact all all all
trap2sink 127.0.0.1:$TRAP_PORT public

dlmod switch_agent $LIB/libswitchagent.so
switchRunDir $LAB/run
vsanRole tenants 10,20
dlmod vsan_mib $LIB/libvsanmib.so
EOF
  echo 'disableAuthorization yes' >"$LAB/snmptrapd.conf"
}

# lab_start BUILD_DIRECTORY [TOPOLOGY]: starts all three and goes to LAB, with vsanctl on the PATH.
lab_start() {
  local build topology
  build=$(cd "$1" && pwd)
  topology=$(realpath "${2:-$SOURCE/packaging/topologies/small-fabric.toml}")
  LIB=$build/lib
  BIN=$build/bin
  PATH=$BIN:$PATH
  LAB=$(mktemp -d)
  SNMP_PORT=$(free_udp_port)
  TRAP_PORT=$(free_udp_port "$SNMP_PORT")
  AGENT=udp:127.0.0.1:$SNMP_PORT
  mkdir -p "$LAB/run" "$LAB/agent" "$LAB/traps"
  lab_configure
  trap lab_stop EXIT
  cd "$LAB"

  "$BIN/switchd" --run-dir "$LAB/run" --state "$LAB/switch.db" \
    --topology "$topology" >"$LAB/switchd.log" 2>&1 &
  SWITCHD_PID=$!
  wait_for "$BIN/vsanctl" --run-dir "$LAB/run" show status
  snmptrapd -f -n -OQ -C -c "$LAB/snmptrapd.conf" --persistentDir="$LAB/traps" -Lf "$LAB/traps.log" \
    "udp:127.0.0.1:$TRAP_PORT" &
  TRAPD_PID=$!
  snmpd -f -C -c "$LAB/snmpd.conf" -I -smux --persistentDir="$LAB/agent" -Lf "$LAB/snmpd.log" "$AGENT" \
    >"$LAB/snmpd.out" 2>&1 &
  SNMPD_PID=$!
  wait_for snmpget -v2c -c public -t 0.2 -r 0 "$AGENT" vsanNumber.0
}

lab_stop() {
  trap - EXIT
  kill "${SNMPD_PID:-}" "${TRAPD_PID:-}" "${SWITCHD_PID:-}" 2>/dev/null || true
  wait "${SNMPD_PID:-}" "${TRAPD_PID:-}" "${SWITCHD_PID:-}" 2>/dev/null || true
  cd /
  rm -rf "$LAB"
}

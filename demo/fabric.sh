#!/bin/bash
# A fabric in front of your eyes: three switches of one etcd, each with a stock snmpd and the module. A timer that is
# set over SNMP at one is pending there and in force nowhere; a commit brings it into force everywhere.
# Every step checks what it shows; the exit status is 0 only when all did what they say.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
. "$HERE/lab.sh"

# Where the three and their etcd are; three rows of ports.
SWITCHES="alpha beta gamma"
declare -A AGENTS WWNS=([alpha]=20:00:02:5a:10:3c:0a:01 [beta]=20:00:02:5a:10:3c:0a:02 [gamma]=20:00:02:5a:10:3c:0a:03)
declare -A PIDS
BUILD=$(cd "$1" && pwd)
PATH=$BUILD/bin:$PATH
LAB=$(mktemp -d)

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }

# Shows a command as it would be typed, and what it prints, which must match the pattern; its exit status is $3, or 0.
show() {
  local pattern=$1 command=$2 out status=0
  printf '$ %s\n' "$command"
  out=$(eval "$command" 2>&1) || status=$?
  printf '%s\n' "$out"
  [ "$status" = "${3:-0}" ] || { echo "FAILED: exit status $status"; exit 1; }
  grep -qE -- "$pattern" <<<"$out" || { echo "FAILED: expected to see: $pattern"; exit 1; }
}

# Whether a command prints what matches, for wait_for.
prints() { eval "$2" 2>&1 | grep -qE -- "$1"; }

free_tcp_port() {
  local port
  for _ in $(seq 100); do
    port=$((20000 + RANDOM % 12000))
    grep -qi "$(printf ':%04x ' "$port")" /proc/net/tcp /proc/net/tcp6 2>/dev/null || break
  done
  echo "$port"
}

stop_all() {
  trap - EXIT
  for pid in "${PIDS[@]}"; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  cd /
  rm -rf "$LAB"
}

configure() {
  local name=$1
  mkdir -p "$name/run" "$name/agent"
  cat >"$name/switch.toml" <<END
[switch]
name = "$name"
wwn = "${WWNS[$name]}"
[distribution]
enabled = true
show_running = $2
[[vsan]]
id = 10
name = "production-a"
[fabric]
name = "demo"
endpoints = ["http://127.0.0.1:$CLIENT_PORT"]
END
  cat >"$name/snmpd.conf" <<END
com2sec reader default public
com2sec writer default private
group readers v2c reader
group writers v2c writer
view all included .1
access readers "" any noauth exact all none none
access writers "" any noauth exact all all all
dlmod switch_agent $BUILD/lib/libswitchagent.so
switchRunDir $LAB/$name/run
dlmod vsan_mib $BUILD/lib/libvsanmib.so
END
}

start_switch() {
  switchd --run-dir "$1/run" --state "$1/switch.db" --topology "$1/switch.toml" >>"$1/switchd.log" 2>&1 &
  PIDS[$1]=$!
  wait_for prints 'member' "vsanctl --run-dir $1/run show fabric"
}

start_agent() {
  snmpd -f -C -c "$1/snmpd.conf" -I -smux --persistentDir="$LAB/$1/agent" -Lf "$1/agent.log" "${AGENTS[$1]}" \
    >"$1/agent.out" 2>&1 &
  PIDS[$1-agent]=$!
  wait_for snmpget -v2c -c public -t 0.2 -r 0 "${AGENTS[$1]}" vsanNumber.0
}

trap stop_all EXIT
cd "$LAB"
CLIENT_PORT=$(free_tcp_port)
PEER_PORT=$(free_tcp_port)
etcd --data-dir etcd --listen-client-urls "http://127.0.0.1:$CLIENT_PORT" --logger zap --log-outputs stderr \
  --advertise-client-urls "http://127.0.0.1:$CLIENT_PORT" --listen-peer-urls "http://127.0.0.1:$PEER_PORT" \
  --initial-advertise-peer-urls "http://127.0.0.1:$PEER_PORT" \
  --initial-cluster "default=http://127.0.0.1:$PEER_PORT" >etcd.log 2>&1 &
PIDS[etcd]=$!
export ETCDCTL_API=3
wait_for etcdctl --endpoints "http://127.0.0.1:$CLIENT_PORT" endpoint health
last=
for name in $SWITCHES; do
  last=$(free_udp_port "$last")
  AGENTS[$name]=udp:127.0.0.1:$last
  # At the second one reads show what is in force, at the others what is pending there.
  configure "$name" "$([ "$name" = beta ] && echo true || echo false)"
  start_switch "$name"
  start_agent "$name"
done
TIMER=vsanFcTimerEdtov.10
ALPHA="${AGENTS[alpha]} $TIMER"
BETA="${AGENTS[beta]} $TIMER"
GAMMA="${AGENTS[gamma]} $TIMER"
R="-v2c -c public -Os"
W="-v2c -c private -Os"
echo "In $LAB: switchd and snmpd of alpha, beta and gamma, and etcd on 127.0.0.1:$CLIENT_PORT."

say 'Three switches, one fabric'
show 'gamma' 'vsanctl --run-dir alpha/run show fabric'

say 'E_D_TOV of VSAN 10 is set over SNMP at alpha: pending there, and in force nowhere'
show 'Gauge32: 2000' "snmpget $R $ALPHA"
show 'Gauge32: 2500' "snmpset $W $ALPHA u 2500"
show 'Gauge32: 2500' "snmpget $R $ALPHA"
show '10.* 2000' 'vsanctl --run-dir alpha/run show timers 10'
show 'Gauge32: 2000' "snmpget $R $BETA"
show '10.* 2000' 'vsanctl --run-dir gamma/run show timers 10'

say 'Alpha holds the lock: gamma is refused, over SNMP and by vsanctl, which says who it is'
show 'genError' "snmpset $W $GAMMA u 3000" 2
show '0x40190028.*alpha' 'vsanctl --run-dir gamma/run timer set e_d_tov 3000 --vsan 10' 1

say 'The commit brings it into force everywhere'
show '^$' 'vsanctl --run-dir alpha/run kdx commit'
for name in beta gamma; do
  wait_for prints 'Gauge32: 2500' "snmpget $R ${AGENTS[$name]} $TIMER"
done
show 'Gauge32: 2500' "snmpget $R $ALPHA"
show 'Gauge32: 2500' "snmpget $R $BETA"
show 'Gauge32: 2500' "snmpget $R $GAMMA"
show 'alpha' 'vsanctl --run-dir gamma/run show fabric'

say 'Gamma is down while beta commits another value; started again, it catches up'
kill -9 "${PIDS[gamma]}"
wait "${PIDS[gamma]}" 2>/dev/null || true
show 'Gauge32: 3500' "snmpset $W $BETA u 3500"
show '^$' 'vsanctl --run-dir beta/run kdx commit'
start_switch gamma
wait_for prints 'Gauge32: 3500' "snmpget $R $GAMMA"
show 'Gauge32: 3500' "snmpget $R $GAMMA"
wait_for prints 'Gauge32: 3500' "snmpget $R $ALPHA"
show 'Gauge32: 3500' "snmpget $R $ALPHA"
show 'applied commit' 'grep "fabric: applied commit" gamma/switchd.log'

say 'All steps did what they say.'

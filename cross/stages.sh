# What both prefix scripts do: packages of the build machine, stages that are done once, a private apt.
# To be sourced, after `set -euo pipefail`, with `here`, ROOT, the folder that everything goes to, and TOOLCHAIN, the
# file here that the builds take.
export LC_ALL=C
unset CRYPTO  # net-snmp's configure takes a variable of that name for its own
LOGS=$ROOT/log
STAMPS=$ROOT/stamps
WORK=$ROOT/work
mkdir -p "$LOGS" "$STAMPS" "$WORK"

exec 9>"$ROOT/lock"
flock 9  # one at a time

# stage NAME FUNCTION: runs it, unless it ran before with these scripts; what it says goes into a log.
MADE_BY=$(cat "$here/stages.sh" "$0" "$here/$TOOLCHAIN" | sha256sum)
stage() {
  local name=$1 function=$2 began=$SECONDS status
  if [ "$(cat "$STAMPS/$name" 2>/dev/null)" = "$MADE_BY" ]; then
    return
  fi
  rm -f "$STAMPS/$name" "$ROOT/why"
  # Not as a condition: a function whose failure is looked at goes on after an error inside it.
  set +e
  (set -e; "$function") >"$LOGS/$name" 2>&1
  status=$?
  set -e
  if [ $status -ne 0 ]; then
    tail -n 20 "$LOGS/$name" >&2
    echo "$(basename "$0"): $name failed: $(cat "$ROOT/why" 2>/dev/null || echo "see $LOGS/$name")" >&2
    exit 1
  fi
  echo "$MADE_BY" >"$STAMPS/$name"
  echo "$(basename "$ROOT"): $name $((SECONDS - began)) s"
}

# For the function of a stage: says why it cannot go on.
give_up() {
  echo "$1" >"$ROOT/why"
  exit 1
}

# An apt of our own in a folder that goes with the stage, so that the machine's lists, its architectures and what it
# has installed stay as they are. Its options are APT then.
private_apt() {
  APT_FOLDER=$(mktemp -d -p "$WORK")
  trap 'rm -rf "$APT_FOLDER"' EXIT
  chmod 755 "$APT_FOLDER"
  mkdir -p "$APT_FOLDER/parts" "$APT_FOLDER/lists/partial" "$APT_FOLDER/cache/archives/partial"
  APT=(-qq -o "Dir::State::lists=$APT_FOLDER/lists" -o "Dir::Cache=$APT_FOLDER/cache" -o APT::Sandbox::User=root)
}

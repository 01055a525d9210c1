#!/bin/bash
# Installs what this machine lacks of the parts of packages.txt that are named. Does nothing, and needs no network, when
# all is there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

# The packages of one part.
packages_of() {
  awk -v part="[$1]" '/^\[/ { inside = $0 == part; known = known || inside; next } /^#/ || !NF { next } inside { print }
    END { exit !known }' "$here/packages.txt" || { echo "install-deps.sh: no part [$1] in packages.txt" >&2; exit 1; }
}

missing=()
for part in "$@"; do
  listed=$(packages_of "$part")
  for package in $listed; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
  done
done

# Some test clients come from npm; any node will do, wherever it came from.
with_clients=false
case " $* " in *" clients "*) with_clients=true ;; esac
if $with_clients && ! command -v npm >/dev/null; then
  missing+=(npm)
fi

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

clients="$here/../tests/agent/npm"
if $with_clients && [ "$clients/package-lock.json" -nt "$clients/node_modules/.package-lock.json" ]; then
  npm --prefix "$clients" ci --loglevel=error --prefer-offline --no-audit --no-fund --no-update-notifier \
    --ignore-scripts
fi

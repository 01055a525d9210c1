#!/bin/bash
# Installs the packages of packages.txt that this machine lacks. Does nothing, and needs no network, when all are there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

missing=()
while read -r package; do
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
done < <(grep -vE '^(#|$)' "$here/packages.txt")

# Any node will do, wherever it came from.
command -v npm >/dev/null || missing+=(npm)

if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# Test clients from npm, and the standard MIB modules that come with one of them.
clients="$here/../tests/agent/npm"
if [ "$clients/package-lock.json" -nt "$clients/node_modules/.package-lock.json" ]; then
  npm --prefix "$clients" ci --loglevel=error --prefer-offline --no-audit --no-fund --no-update-notifier --ignore-scripts
fi

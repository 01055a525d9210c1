#!/bin/bash
# Makes snmp.yml, or the file named, of generator.yml and our MIB files. Says nothing unless it fails.
set -euo pipefail
HERE=$(cd "$(dirname "$0")" && pwd)
OUTPUT=$(realpath "${1:-$HERE/snmp.yml}")
export MIBDIRS=$HERE/../../mibs:$HERE/../../mibs/standard MIBS=ALL

# It reads generator.yml where it stands.
cd "$HERE"
exec prometheus-snmp-generator --fail-on-parse-errors --log.level=warn generate --output-path="$OUTPUT"

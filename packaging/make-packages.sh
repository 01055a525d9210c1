#!/bin/bash
# Builds the Debian packages of what is committed, from an export of it, into a directory. With a version it makes those
# in that directory once more, under that version: the tests upgrade to it.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: make-packages.sh DIRECTORY [VERSION]" >&2; exit 2; }
source=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
tree=$out/source

if [ $# -eq 1 ]; then
  rm -rf "$tree" "$out"/*.deb
  mkdir "$tree"
  git -C "$source" archive HEAD | tar -x -C "$tree"
else
  rm -f "$out"/*.deb
  # What was compiled is the same: only the packages are made again.
  sed -i "1s/(.*)/($2)/" "$tree/debian/changelog"
fi
cd "$tree"
if ! dpkg-buildpackage -b -us -uc -jauto ${2:+-nc} >"$out/build.log" 2>&1; then
  tail -50 "$out/build.log" >&2
  exit 1
fi
# It leaves them beside the tree, which is here.
ls "$out"/*.deb

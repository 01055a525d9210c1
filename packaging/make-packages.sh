#!/bin/bash
# Builds the Debian packages of what is committed, from an export of it, into a directory. With a version it makes those
# in that directory once more, under that version: the tests upgrade to it. With POWERPC_PREFIX, a folder that
# cross/powerpc-prefix.sh has made, they are for that processor; the machine's architectures stay as they are.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: make-packages.sh DIRECTORY [VERSION]" >&2; exit 2; }
source=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "$1"
out=$(cd "$1" && pwd)
tree=$out/source

# The prefix's libraries, and the cross compiler's, are those of the machine's own packages in another processor's code:
# what those say that a package which uses them depends on, with the package's version where they say none.
LIBRARIES=(libc6 libevent-core-2.1-7 libevent-pthreads-2.1-7 libgcc-s1 libsmartcols1 libsnmp40 libsqlite3-0 libstdc++6)
say_dependencies() {
  local package version
  for package in "${LIBRARIES[@]}"; do
    version=$(dpkg-query -W -f '${source:Upstream-Version}' "$package")
    sed -n "/^udeb:/d; /ld-linux/d; s/^\(\S* \S* \S*\)$/\1 (>= $version)/; p" \
      "$(dpkg-query --control-path "$package" shlibs)"
  done
  # The program loader has another name there.
  echo "ld 1 libc6 (>= $(dpkg-query -W -f '${source:Upstream-Version}' libc6))"
}

for_target=()
if [ -n "${POWERPC_PREFIX:-}" ]; then
  POWERPC_PREFIX=$(cd "$POWERPC_PREFIX" && pwd)
  export POWERPC_PREFIX
  # -d: what the build needs is in the prefix, not in packages.
  for_target=(-d --host-arch powerpc)
fi

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
if [ -n "${POWERPC_PREFIX:-}" ]; then
  say_dependencies >debian/shlibs.local
fi
if ! dpkg-buildpackage -b -us -uc -jauto "${for_target[@]}" ${2:+-nc} >"$out/build.log" 2>&1; then
  tail -50 "$out/build.log" >&2
  exit 1
fi
# It leaves them beside the tree, which is here.
ls "$out"/*.deb

#!/bin/bash
# Makes build/s390x-prefix/sysroot: Debian's own packages for s390x, unpacked. Nothing is installed, and the machine's
# architectures stay as they are. Does nothing when all is there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
ROOT=$(realpath -m "${1:-$here/../build/s390x-prefix}")
TOOLCHAIN=s390x.cmake
. "$here/stages.sh"

HOST=s390x-linux-gnu
SYSROOT=$ROOT/sysroot
PACKAGES=(libsnmp-dev snmpd sqlite3 libsqlite3-dev libevent-dev libsystemd-dev libsmartcols-dev libtomlplusplus-dev
  libcli11-dev nlohmann-json3-dev libspdlog-dev libgtest-dev libgmock-dev libstdc++-12-dev libc6-dev)

# Resolved as for a machine that has nothing.
fetch() {
  private_apt
  : >"$APT_FOLDER/status"
  APT+=(-o APT::Architecture=s390x -o APT::Architectures=s390x -o "Dir::State::status=$APT_FOLDER/status"
    -o "Dir::State::extended_states=$APT_FOLDER/extended" -o Debug::NoLocking=true)
  apt-get "${APT[@]}" update || give_up "the lists of packages for s390x are not to be had"
  apt-get "${APT[@]}" -y --download-only --no-install-recommends install "${PACKAGES[@]}" ||
    give_up "the packages for s390x are not to be had: ${PACKAGES[*]}"
  rm -rf "$ROOT/packages"
  mkdir "$ROOT/packages"
  mv "$APT_FOLDER"/cache/archives/*.deb "$ROOT/packages/"
}

# Absolute links would lead out of it; documents and perl are of no use to a build.
unpack() {
  rm -rf "$SYSROOT"
  mkdir "$SYSROOT"
  for package in "$ROOT"/packages/*.deb; do
    dpkg-deb -x "$package" "$SYSROOT"
  done
  find "$SYSROOT" -type l -lname '/*' | while read -r link; do
    ln -sfn "$(realpath -ms --relative-to="$(dirname "$link")" "$SYSROOT$(readlink "$link")")" "$link"
  done
  rm -rf "$SYSROOT"/usr/share/{doc,man,locale,perl,info} "$SYSROOT/usr/lib/$HOST/perl-base"
  qemu-s390x -L "$SYSROOT" "$SYSROOT/usr/sbin/snmpd" -v
}

stage fetch fetch
stage unpack unpack

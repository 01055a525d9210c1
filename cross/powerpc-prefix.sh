#!/bin/bash
# Makes build/powerpc-prefix: the libraries that the product and its tests need on 32-bit big-endian PowerPC, and a
# net-snmp agent, built from the sources of the machine's own Debian release. Does nothing when all is there.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
ROOT=$(realpath -m "${1:-$here/../build/powerpc-prefix}")
TOOLCHAIN=powerpc.cmake
. "$here/stages.sh"

HOST=powerpc-linux-gnu
SOURCES=$WORK/sources
PACKAGES=(net-snmp openssl sqlite3 libevent util-linux)
mkdir -p "$ROOT/lib" "$ROOT/include"

# The plain release of each: the newest of the security archive is not always to be had as a source.
fetch() {
  local release parts package
  private_apt
  parts=$APT_FOLDER/parts
  for file in /etc/apt/sources.list.d/*.sources; do
    [ ! -s "$file" ] || sed 's/^Types:.*/Types: deb-src/' "$file" >"$parts/${file##*/}"
  done
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ ! -s "$file" ] || sed -n 's/^deb /deb-src /p' "$file" >"$parts/${file##*/}.list"
  done
  APT+=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$parts")
  release=$(. /etc/os-release && echo "$VERSION_CODENAME")
  apt-get "${APT[@]}" update || give_up "the lists of source packages are not to be had"
  rm -rf "$SOURCES"
  mkdir "$SOURCES"
  cd "$SOURCES"
  for package in "${PACKAGES[@]}"; do
    apt-get "${APT[@]}" --download-only --only-source source "$package/$release" ||
      give_up "the source of $package is not to be had"
  done
}

# Debian's patches make the inputs of autoconf and automake newer than what is generated from them.
unpack() {
  cd "$WORK"
  rm -rf "${WORK:?}/$1"
  dpkg-source -q --no-check -x "$SOURCES/$1"_*.dsc "$1"
  cd "$1"
  find . \( -name '*.am' -o -name '*.ac' -o -name '*.m4' \) -exec touch -d 2000-01-01 {} +
}

configure() {
  PKG_CONFIG_LIBDIR=$ROOT/lib/pkgconfig ./configure --build="$(gcc -dumpmachine)" --host=$HOST --prefix="$ROOT" "$@"
}

# What SNMPv3 needs of it: net-snmp's own cryptography has neither AES nor SHA-2.
openssl() {
  unpack openssl
  ./Configure linux-ppc --cross-compile-prefix=$HOST- --prefix="$ROOT" --libdir=lib shared no-asm no-tests no-engine \
    no-dso no-module no-legacy no-ssl3 no-tls no-dtls no-cmp no-cms no-ct no-ts no-ocsp no-srp no-srtp no-psk no-gost \
    no-sm2 no-sm3 no-sm4 no-aria no-camellia no-seed no-idea no-rc2 no-bf no-cast no-whirlpool no-ec no-dsa no-scrypt \
    no-siphash no-blake2 no-comp no-ui-console no-async CFLAGS=-O1
  make -j2 build_generated
  make -j2 libcrypto.so.3
  cp libcrypto.so.3 "$ROOT/lib/"
  ln -sf libcrypto.so.3 "$ROOT/lib/libcrypto.so"
  cp -r include/openssl "$ROOT/include/"
  $HOST-ar rcs "$ROOT/lib/libssl.a"  # net-snmp's configure insists on one; an empty one will do
}

# Its configure leaves two variables of its Makefiles as they are when it is told of libcrypto alone.
agent() {
  unpack net-snmp
  CFLAGS=-O1 LDFLAGS="-L$ROOT/lib -Wl,-rpath-link,$ROOT/lib" CPPFLAGS="-I$ROOT/include" \
    OPENSSL_CFLAGS="-I$ROOT/include" OPENSSL_LIBS=-lcrypto \
    configure --with-defaults --enable-shared --disable-static --with-openssl="$ROOT" --enable-blumenthal-aes \
    --enable-ucd-snmp-compatibility --with-mib-modules=ucd-snmp/dlmod --with-out-mib-modules=host \
    --disable-embedded-perl --without-perl-modules --disable-manuals --disable-scripts --disable-mibs --without-rpm \
    --without-pcre --without-nl --with-logfile=none --with-persistent-directory=/tmp \
    --with-mibdirs=/usr/share/snmp/mibs
  sed -i -E 's/@(LIBCRYPTO|LIBWRAP)@//g' agent/Makefile
  sed -i 's/^SUBDIRS\b.*/SUBDIRS = snmplib agent/' Makefile
  make -j2
  make install
  rm -f "$ROOT"/lib/*.la
}

# Without HAVE_USLEEP it waits for locks in whole seconds.
sqlite() {
  unpack sqlite3
  ./configure --prefix="$ROOT" --disable-tcl --disable-readline --disable-shared
  make sqlite3.c shell.c
  $HOST-gcc -O1 -fPIC -shared -DSQLITE_THREADSAFE=1 -DHAVE_USLEEP=1 -DSQLITE_ENABLE_COLUMN_METADATA \
    -Wl,-soname,libsqlite3.so.0 -o "$ROOT/lib/libsqlite3.so.0" sqlite3.c -lm -lpthread -ldl
  ln -sf libsqlite3.so.0 "$ROOT/lib/libsqlite3.so"
  mkdir -p "$ROOT/bin"
  $HOST-gcc -O1 -o "$ROOT/bin/sqlite3" shell.c "$ROOT/lib/libsqlite3.so.0" -lm
  cp sqlite3.h sqlite3ext.h "$ROOT/include/"
  install -D -m 644 sqlite3.pc "$ROOT/lib/pkgconfig/sqlite3.pc"
}

events() {
  unpack libevent
  CFLAGS=-O1 configure --enable-shared --disable-static --disable-openssl --disable-samples --disable-libevent-regress \
    --disable-debug-mode
  make -j2
  make install
  rm -f "$ROOT"/lib/*.la
}

tables() {
  unpack util-linux
  CFLAGS=-O1 configure --disable-all-programs --enable-libsmartcols --disable-static --disable-nls --disable-asciidoc \
    --disable-poman --disable-makeinstall-chown --disable-makeinstall-setuid --without-bashcompletion \
    --without-systemd --without-python
  make -j2 install
  rm -f "$ROOT"/lib/*.la
}

# Of the build machine's package: the same for every processor.
googletest() {
  cmake -G Ninja -S /usr/src/googletest -B "$WORK/googletest" -DCMAKE_TOOLCHAIN_FILE="$here/powerpc.cmake" \
    -DPOWERPC_PREFIX="$ROOT" -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_INSTALL_PREFIX="$ROOT" -DCMAKE_INSTALL_LIBDIR=lib
  ninja -j2 -C "$WORK/googletest" install
}

# So are headers that are a whole library.
headers() {
  for folder in toml++ CLI nlohmann spdlog fmt; do
    [ -d "/usr/include/$folder" ] || give_up "/usr/include/$folder is missing"
    ln -sfn "/usr/include/$folder" "$ROOT/include/$folder"
  done
}

the_agents() {
  stage openssl openssl
  stage agent agent
}

everybodys() {
  stage sqlite sqlite
  stage libevent events
  stage libsmartcols tables
  stage googletest googletest
}

stage fetch fetch
# Beside each other: most of the time a configure runs, which is one process.
the_agents &
first=$!
everybodys &
second=$!
failed=0
wait $first || failed=1
wait $second || failed=1
[ $failed = 0 ] || exit 1
stage headers headers
find "$WORK" -mindepth 1 -maxdepth 1 ! -name sources -exec rm -rf {} +

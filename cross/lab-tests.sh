#!/bin/bash
# cross/lab-tests.sh AGENT SWITCH [WORDS FOR CTEST...]: the build machine's own tests through a real agent, against an
# snmpd with the module of the processor AGENT and a switchd and vsanctl of the processor SWITCH: native, powerpc, s390x
# or powerpc-small. build/release has the tests, each processor's build the rest.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
usage="usage: lab-tests.sh AGENT SWITCH [WORDS FOR CTEST...]"
agent=${1:?$usage} switch=${2:?$usage}
shift 2
build=$here/../build

# What of a build is started: programs, or scripts that start them under the emulator.
programs_of() {
  if [ "$1" = native ]; then echo "$build/release/bin"; else echo "$build/$1/starters"; fi
}
for processor in "$agent" "$switch"; do
  [ "$processor" = native ] || [ -x "$build/$processor/starters/switchd" ] ||
    { echo "lab-tests.sh: build/$processor has nothing to start" >&2; exit 1; }
done
if [ "$agent" != native ]; then
  export LAB_LIBRARIES=$build/$agent/lib LAB_SNMPD=$build/$agent/starters/snmpd
fi
LAB_PROGRAMS=$(programs_of "$switch")
export LAB_PROGRAMS
if [ "$switch" != native ]; then
  export LAB_SQLITE3=$LAB_PROGRAMS/sqlite3 LAB_SWITCH_LIBRARIES=$build/$switch/lib
fi
# An agent of another byte order than its switch has events and errors in a page of its own, whatever a test does to
# have it share the switch's, or not.
parts=none
if [ "$agent" != "$switch" ] && { [ "$agent" = native ] || [ "$switch" = native ]; }; then
  LAB_PAGE_READER=$(programs_of "$agent")/vsanctl
  export LAB_PAGE_READER
  parts+='|apart'
fi

# The emulator gives 32-bit programs the positions in a directory that a 64-bit one gets: on a disk's file system they
# cannot be told (readdir: EOVERFLOW), in memory they are small.
export TMPDIR=/dev/shm

# An emulated agent takes ten times as long a PDU.
export MODEL_PDUS=${MODEL_PDUS:-5000}

# The exceptions of the parts that are emulated. `none` is no part.
[ "$agent" = native ] || parts+='|agent'
[ "$switch" = native ] || parts+='|switch'
if [ "$agent" = s390x ] || [ "$switch" = s390x ]; then parts+='|s390x'; fi
names=$(sed -nE "s/^($parts) //p" "$here/exceptions.txt" | sed 's/\./\\./g; s/\*/.*/g' | paste -sd '|')
ctest --test-dir "$build/release" --no-tests=error --output-on-failure -L lab -E "^($names)\$" "$@"

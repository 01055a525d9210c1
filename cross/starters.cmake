# Programs of another processor, as scripts that start them under the emulator: what tests and people start. An emulated
# program can start these, and no emulated program.

list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "\" \"" EMULATOR)
set(EMULATOR "\"${EMULATOR}\"")

# A script `name` in STARTERS for a program, which may be a generator expression. LD_PRELOAD is the program's, not the
# emulator's.
set(STARTERS ${PROJECT_BINARY_DIR}/starters)
function(starter name program)
  file(GENERATE OUTPUT ${STARTERS}/${name} CONTENT "#!/bin/sh
if [ -n \"$LD_PRELOAD\" ]; then
  preload=$LD_PRELOAD
  unset LD_PRELOAD
  exec ${EMULATOR} -E \"LD_PRELOAD=$preload\" \"${program}\" \"$@\"
fi
exec ${EMULATOR} \"${program}\" \"$@\"
"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()

starter(snmpd ${EMULATED_SNMPD})
# What SQLite keeps beside a store is in host order: a program of the other one would not see its locks.
starter(sqlite3 ${EMULATED_SQLITE3})
starter(switchd $<TARGET_FILE:switchd>)
starter(vsanctl $<TARGET_FILE:vsanctl>)

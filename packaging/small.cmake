# What a build for a switch's memory does otherwise. What each saves is in docs/size.md, in this order, and why it is
# taken in docs/decisions.md. What begins with -Wl, is the linker's; a definition is seen by all who see the
# module's headers.
set(VSANMIB_SMALL_OPTIONS
  -Wl,-z,max-page-size=4096
  -Os
  -fno-asynchronous-unwind-tables
  -DVSANMIB_SMALL_TRACES
  -fpic
  CACHE STRING "With VSANMIB_SMALL: options of what runs in the agent")

set(MODULE_DEFINITIONS ${VSANMIB_SMALL_OPTIONS})
list(FILTER MODULE_DEFINITIONS INCLUDE REGEX "^-D")
set(AGENT_SIDE_LINK_OPTIONS ${VSANMIB_SMALL_OPTIONS})
list(FILTER AGENT_SIDE_LINK_OPTIONS INCLUDE REGEX "^-Wl,")
set(SMALL_COMPILE_OPTIONS ${VSANMIB_SMALL_OPTIONS})
list(FILTER SMALL_COMPILE_OPTIONS EXCLUDE REGEX "^-(D|Wl,)")
list(APPEND AGENT_SIDE_OPTIONS ${SMALL_COMPILE_OPTIONS})

set(VSANMIB_SMALL_LIMIT 80000 CACHE STRING "Octets that the stripped module of the target may have")
mark_as_advanced(VSANMIB_SMALL_OPTIONS VSANMIB_SMALL_LIMIT)

# Whether LIBRARY has LIMIT octets at most once STRIP has made STRIPPED of it.
execute_process(COMMAND ${STRIP} -o ${STRIPPED} ${LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${STRIPPED} size)
message("${LIBRARY}: ${size} octets stripped, ${LIMIT} at most")
if(size GREATER LIMIT)
  message(FATAL_ERROR "${LIBRARY} is ${size} octets stripped, more than ${LIMIT}")
endif()

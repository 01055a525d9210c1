# Compiles one include at a time with a target's include directories: each header of SEEN is found, none of HIDDEN is.
# FOLDER holds the compiler's response file `directories`. COMPILER is g++ or clang.
cmake_policy(SET CMP0057 NEW)
set(ENV{LC_ALL} C)

# What compiling a file comes to that includes `header` and nothing else: FOUND, MISSING, or what the compiler says.
function(look_for header result)
  file(WRITE ${FOLDER}/include.cpp "#include \"${header}\"\n")
  execute_process(
    COMMAND ${COMPILER} -std=c++20 -fsyntax-only @${FOLDER}/directories ${FOLDER}/include.cpp
    RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(status EQUAL 0)
    set(${result} FOUND PARENT_SCOPE)
  elseif(errors MATCHES "error: '?${header}'?(: No such file or directory| file not found)")
    set(${result} MISSING PARENT_SCOPE)
  else()
    set(${result} "${errors}" PARENT_SCOPE)
  endif()
endfunction()

function(expect outcome)
  foreach(header IN LISTS ARGN)
    look_for(${header} result)
    if(NOT result STREQUAL outcome)
      message(SEND_ERROR "${header} should be ${outcome}: ${result}")
    endif()
  endforeach()
endfunction()

expect(FOUND ${SEEN})
expect(MISSING ${HIDDEN})

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

foreach(header IN LISTS SEEN)
  look_for(${header} result)
  if(NOT result STREQUAL FOUND)
    message(SEND_ERROR "${header} should compile: ${result}")
  endif()
endforeach()

foreach(header IN LISTS HIDDEN)
  look_for(${header} result)
  if(NOT result STREQUAL MISSING)
    message(SEND_ERROR "${header} should not be found: ${result}")
  endif()
endforeach()

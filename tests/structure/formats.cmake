# Compiles one line with a format at a time, with the module's include directories: formats that the module cannot take
# apart do not compile, and the compiler says why. FOLDER holds the response file `directories`.
set(ENV{LC_ALL} C)

# Whether a statement compiles: `yes`, or what the compiler says.
function(compile statement result)
  file(WRITE ${FOLDER}/format.cpp "#include \"module_frame/trace.h\"\nvoid line();\nvoid line() {\n  ${statement}\n}\n")
  execute_process(
    COMMAND ${COMPILER} -std=c++20 -Wall -Wno-format-extra-args -Werror -fsyntax-only
      @${FOLDER}/directories ${FOLDER}/format.cpp
    RESULT_VARIABLE status ERROR_VARIABLE errors)
  if(status EQUAL 0)
    set(${result} yes PARENT_SCOPE)
  else()
    set(${result} "${errors}" PARENT_SCOPE)
  endif()
endfunction()

function(expect_taken statement)
  compile("${statement}" result)
  if(NOT result STREQUAL yes)
    message(SEND_ERROR "${statement} does not compile: ${result}")
  endif()
endfunction()

function(expect_refused statement why)
  compile("${statement}" result)
  # clang says that there are no pieces of such a format, and not why.
  if(NOT result MATCHES "${why}|invalid explicitly-specified argument")
    message(SEND_ERROR "${statement} is not refused for ${why}: ${result}")
  endif()
endfunction()

set(row "static constexpr vsan_mib::row_format<const char *, int>")
string(REPEAT a 256 long)

expect_taken("TRACE(\"%s %d %u %x\", \"text\", 1, 2u, 3);")
expect_refused("TRACE(\"%p\", \"text\");" format_has_an_unknown_conversion)
expect_refused("TRACE(\"%5d\", 1);" format_has_an_unknown_conversion)
expect_refused("TRACE(\"%s %\", \"text\");" "format_has_an_unknown_conversion|format")
expect_refused("TRACE(\"%s${long}\", \"text\");" format_is_too_long)
expect_refused("TRACE(\"%d\", \"text\");" "format|static assertion")
expect_refused("TRACE(\"%s %d\", \"text\");" "format|static assertion")

expect_taken("${row} row = \"%s %x\"; TRACE_ROW(row, \"text\", 1);")
expect_taken("${row} row = \"%s\"; TRACE_ROW(row, \"text\", 1);")
expect_refused("${row} row = \"%d\"; TRACE_ROW(row, \"text\", 1);" format_does_not_fit_its_arguments)
expect_refused("${row} row = \"%s %d %d\"; TRACE_ROW(row, \"text\", 1);" format_does_not_fit_its_arguments)
expect_refused("${row} row = \"%s %c\"; TRACE_ROW(row, \"text\", 1);" format_has_an_unknown_conversion)
expect_refused("${row} row = \"%s${long}\"; TRACE_ROW(row, \"text\", 1);" format_is_too_long)
expect_refused("${row} row = \"%s\"; TRACE_ROW(row, 1, 1);" "cannot convert|invalid conversion|no matching function")

# cmake -DFILE=... -DREADELF=... -P hardening.cmake
# A library or a program is linked with its tables closed before it runs, and watches its stack
# (cmake/hardening.cmake).

function(expect_match pattern what)
  execute_process(COMMAND ${READELF} --wide ${ARGN} ${FILE} OUTPUT_VARIABLE output
    COMMAND_ERROR_IS_FATAL ANY)
  if(NOT output MATCHES "${pattern}")
    message(SEND_ERROR "${FILE}: ${what}")
  endif()
endfunction()

expect_match("\\((FLAGS|FLAGS_1)\\)[^\n]*NOW" "symbols are bound late" --dynamic)
expect_match("GNU_RELRO" "relocations can be written to" --segments)
expect_match("__stack_chk_fail" "the stack is not watched" --dyn-syms)

# cmake -DLIBRARY=... -DNM=... -DREADELF=... -P exported_symbols.cmake
# The library shows one name, and needs the C++ runtime that its host shares.

function(read_lines result)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE "\n$" "" output "${output}")
  string(REPLACE "\n" ";" lines "${output}")
  set(${result} "${lines}" PARENT_SCOPE)
endfunction()

read_lines(symbols ${NM} -D --defined-only --format=just-symbols ${LIBRARY})
if(NOT symbols STREQUAL "talvora_plugin_api")
  message(SEND_ERROR "exported: '${symbols}', not 'talvora_plugin_api' alone")
endif()

read_lines(dynamic ${READELF} -d ${LIBRARY})
set(needs_shared_runtime OFF)
foreach(line IN LISTS dynamic)
  if(line MATCHES "\\(NEEDED\\).*libstdc\\+\\+\\.so\\.6")
    set(needs_shared_runtime ON)
  endif()
  if(line MATCHES "\\((RPATH|RUNPATH|TEXTREL)\\)")
    message(SEND_ERROR "unexpected: ${line}")
  endif()
endforeach()
if(NOT needs_shared_runtime)
  message(SEND_ERROR "libstdc++ is not taken from the system")
endif()

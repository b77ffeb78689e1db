# cmake -DLIBRARY=... -DOBJDUMP=... -P library_tables.cmake
# The library shows one name, undecorated, and takes nothing from outside but the system's
# kernel and the Universal CRT.

execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY} OUTPUT_VARIABLE tables
  COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCHALL "DLL Name: [^\n]+" imports "${tables}")
if(NOT imports)
  message(SEND_ERROR "no imports found")
endif()
set(takes_heap OFF)
foreach(import IN LISTS imports)
  string(REPLACE "DLL Name: " "" import "${import}")
  message(STATUS "imports: ${import}")
  if(NOT import MATCHES "^(KERNEL32\\.dll|api-ms-win-crt-[a-z]+-l[0-9-]+\\.dll)$")
    message(SEND_ERROR "imported from ${import}")
  endif()
  if(import MATCHES "^api-ms-win-crt-heap-")
    set(takes_heap ON)
  endif()
endforeach()
if(NOT takes_heap)
  message(SEND_ERROR "the heap is not the Universal CRT's")
endif()

string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table.*" names "${tables}")
string(REGEX MATCHALL "\n[\t ]+\\[ *[0-9]+\\] [^\n]+" names "${names}")
string(REGEX REPLACE "\n[\t ]+\\[ *[0-9]+\\] " "" names "${names}")
message(STATUS "exports: ${names}")
if(NOT names STREQUAL "talvora_plugin_api")
  message(SEND_ERROR "exported: '${names}', not 'talvora_plugin_api' alone")
endif()

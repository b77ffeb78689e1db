# The file `copyright` of each package: what it contains of others or is linked to, and the terms, as
# Debian states them. On what terms the project's own parts are is not told there.

set(DEBIAN_TERMS /usr/share/doc)
set(COMMON_TERMS /usr/share/common-licenses) # which those name

# write_copyright(FILE NAME=TEXT_FILE ...); what has no such file on this system is named alone.
function(write_copyright file)
  set(text "What this package contains of others, or is linked to, and on what terms.\n")
  foreach(pair IN LISTS ARGN)
    string(REGEX MATCH "^([^=]+)=(.+)$" _ "${pair}")
    string(APPEND text "\n==== ${CMAKE_MATCH_1}\n\n")
    if(EXISTS "${CMAKE_MATCH_2}")
      file(READ "${CMAKE_MATCH_2}" terms)
      string(APPEND text "${terms}")
    endif()
  endforeach()
  file(WRITE "${file}" "${text}")
endfunction()

# A library that goes to machines without the libraries of this one, as in a wheel, carries what it is
# linked to: a target with the property TALVORA_CARRIES_LIBRARIES takes archives where others take
# shared libraries.
set(TALVORA_CARRIES "$<BOOL:$<TARGET_PROPERTY:TALVORA_CARRIES_LIBRARIES>>")
foreach(name AEC CRYPTO SZ XXHASH Z)
  string(TOLOWER ${name} file)
  find_library(${name}_ARCHIVE lib${file}.a)
endforeach()

# talvora_shared_or_archive(RESULT SHARED ARCHIVE): what to link to.
function(talvora_shared_or_archive result shared archive)
  set(${result} "$<${TALVORA_CARRIES}:${archive}>" "$<$<NOT:${TALVORA_CARRIES}>:${shared}>"
    PARENT_SCOPE)
endfunction()

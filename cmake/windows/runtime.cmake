# Links against the Universal CRT, the run-time whose heap the host shares. The tool chain
# is made for an older one, msvcrt.dll: what the two lack of each other is filled in here,
# and everything else is linked statically. See docs/windows.md.
#
# A target with the property TALVORA_OTHER_RUNTIME gets the tool chain's own run-time, for
# the test that shows what this prevents.
function(find_toolchain_file result name)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${result} ${path} PARENT_SCOPE)
endfunction()

# The C++ library was built for an mbstate_t of 4 bytes, the Universal CRT's has 8: the
# functions that take one come from the tool chain and call no run-time for it.
find_toolchain_file(talvora_msvcrt libmsvcrt.a)
set(talvora_compat_objects)
foreach(name mbrtowc wcrtomb)
  set(object ${CMAKE_BINARY_DIR}/crt_compat/${name}.obj)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/crt_compat
    COMMAND ${CMAKE_AR} p ${talvora_msvcrt} lib64_libmsvcrt_common_a-${name}.o > ${object}
    DEPENDS ${talvora_msvcrt} VERBATIM)
  list(APPEND talvora_compat_objects ${object})
endforeach()

add_library(talvora_crt_compat STATIC
  ${CMAKE_CURRENT_LIST_DIR}/maths.c
  ${CMAKE_CURRENT_LIST_DIR}/setjmp.c
  ${talvora_compat_objects})
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/maths.c PROPERTIES
  COMPILE_OPTIONS -fno-builtin)
set_source_files_properties(${talvora_compat_objects} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)

set(talvora_uses_ucrt $<NOT:$<BOOL:$<TARGET_PROPERTY:TALVORA_OTHER_RUNTIME>>>)
target_link_options(talvora_runtime INTERFACE
  -static
  LINKER:--no-insert-timestamp # the same sources, the same bytes
  $<${talvora_uses_ucrt}:-specs=${CMAKE_CURRENT_LIST_DIR}/ucrt.specs>
  # Asked for by name, because libraries that want them come after the archive.
  $<${talvora_uses_ucrt}:LINKER:-u,_setjmp,-u,mbrtowc,-u,wcrtomb>)
target_link_libraries(talvora_runtime INTERFACE $<${talvora_uses_ucrt}:talvora_crt_compat>)

# An inline function that several sources hold is kept once, and the one that stays may use other
# registers than the copy that its caller was compiled beside. On this platform g++ lets callers
# count on their own copy's registers all the same, and values in them are lost.
target_compile_options(talvora_runtime INTERFACE -fno-ipa-ra)

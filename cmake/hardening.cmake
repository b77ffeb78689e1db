# What a fault in memory runs into before it is of use to anybody
# (docs/decisions/0008-hardening.md). Sanitizers see more, and stand in for the same functions; on
# Windows the checks would take a run-time library of their own along.
add_library(talvora_hardening INTERFACE)
if(NOT WIN32 AND NOT TALVORA_SANITIZE)
  target_compile_options(talvora_hardening INTERFACE -fstack-protector-strong)
  # It takes optimisation, and some compilers bring a value of their own.
  target_compile_options(talvora_hardening INTERFACE
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
  target_link_options(talvora_hardening INTERFACE LINKER:-z,relro LINKER:-z,now)
endif()

# talvora_harden(FOLDER ...): what is compiled in these folders and those below, which is what
# ships. Tests and benchmarks are not, some without optimisation.
function(talvora_harden)
  foreach(folder IN LISTS ARGN)
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
      get_target_property(type ${target} TYPE)
      if(type MATCHES "_LIBRARY$|^EXECUTABLE$" AND NOT type STREQUAL INTERFACE_LIBRARY)
        target_link_libraries(${target} PRIVATE talvora_hardening)
      endif()
    endforeach()
    get_property(below DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
    talvora_harden(${below})
  endforeach()
endfunction()

# Most of the time of a build goes into headers that nearly every source of a target includes. Builds
# that only test read them once for so many sources of the host or of a test program, which are
# compiled as one; there names of a source's own have to be the only ones of their target.
set(TALVORA_BATCHES 0 CACHE STRING "How many sources are compiled as one; 0: each by itself")

function(talvora_compile_in_batches target)
  if(TALVORA_BATCHES)
    set_target_properties(${target} PROPERTIES
      UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${TALVORA_BATCHES})
  endif()
endfunction()

# Most of the time of a build goes into headers that nearly every source of a target includes. Builds
# that only test read them once for so many sources, which are compiled as one; there names of a
# source's own have to be the only ones of their target.
set(TALVORA_TEST_BATCHES 0 CACHE STRING
  "How many sources of a test program are compiled as one; 0: each by itself")
set(TALVORA_HOST_BATCHES 0 CACHE STRING
  "How many sources of a room of the host, or of the C library, are compiled as one; 0: each by itself")

# talvora_compile_in_batches(TARGET COUNT): an empty count is 0.
function(talvora_compile_in_batches target count)
  if(count)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
    # Where more is there to be inlined, g++ 12 takes the pointer of a vector for one into a block.
    target_compile_options(${target} PRIVATE
      $<$<CXX_COMPILER_ID:GNU>:-Wno-free-nonheap-object>)
  endif()
endfunction()

# The same input gives the same bits on every processor: the baseline
# instruction set, and no contraction of a product and a sum into one rounding.
# Faster instruction sets are chosen at run time, inside dsp/ only.
#
# For each architecture: what its baseline is called, and the sources dsp/lane_kernels_*.cpp for
# more than that, with what they are built for. dsp/filter_path.cpp has a row for each.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(baseline -march=x86-64 -mtune=generic)
  set(TALVORA_WIDE_LANES avx2 avx512)
  set(TALVORA_LANES_avx2 -mavx2)
  set(TALVORA_LANES_avx512 -mavx512f -mavx512vl -mavx512dq -mavx512bw)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(baseline -march=armv8-a -mtune=generic)
  set(TALVORA_WIDE_LANES "")
else()
  message(FATAL_ERROR
    "not built for ${CMAKE_SYSTEM_PROCESSOR} yet: CONTRIBUTING.md, \"Add an architecture\"")
endif()

add_library(talvora_arithmetic INTERFACE)
target_compile_options(talvora_arithmetic INTERFACE ${baseline} -ffp-contract=off)

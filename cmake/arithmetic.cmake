# The same input gives the same bits on every processor: the baseline
# instruction set, and no contraction of a product and a sum into one rounding.
# Faster instruction sets are chosen at run time, inside dsp/ only.
add_library(talvora_arithmetic INTERFACE)
target_compile_options(talvora_arithmetic INTERFACE -march=x86-64 -mtune=generic -ffp-contract=off)

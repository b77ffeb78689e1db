// SSE2 for Eigen where the processor has none, so that it sums in the same order as on x86-64 and
// fuses nothing: its own code for other processors does either.
#pragma once

#define SIMDE_NO_NATIVE // which knows fused operations, and shifts that Eigen cannot be given
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/sse2.h>

#define __builtin_ia32_sqrtsd(value) _mm_sqrt_sd(value, value)

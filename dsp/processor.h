// What differs between the processors that this is built for. All else that is built for one of
// them alone is chosen in filter_path.cpp, vector_operations.h and cmake/arithmetic.cmake.
#pragma once

namespace talvora::dsp {

#if defined(__x86_64__)
#define TALVORA_X86_64 1
#elif defined(__aarch64__)
#define TALVORA_X86_64 0
#else
#error "not built for this processor yet: see CONTRIBUTING.md"
#endif

// The NaN that an operation on numbers gives has its sign set here, as MISSING_SAMPLE has; other
// processors clear it.
inline constexpr bool MAKES_MISSING_SAMPLES = TALVORA_X86_64 != 0;

} // namespace talvora::dsp

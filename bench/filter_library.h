// What filter_libraries_bench calls in a library of filter loops. It is made of
// bench/filter_library.cpp and the dsp/ of a commit (see scripts/bench-filter).
#pragma once

#include "bench/filter_works.h"

#include <cstddef>

// A filter and its scratch memory, on the path of this name (see bench/filter_library.cpp):
// positions in FilterPath differ between commits. None when this processor cannot take it, or the
// loops have none of that name.
using make_filter_function = void*(const char* path_name);
using free_filter_function = void(void* filter);
// All sets, which follow each other from `samples` on, in place.
using filter_sets_function = void(void* filter, float* samples,
                                  const talvora::bench::SetShape* sets, std::size_t set_count,
                                  const talvora::dsp::FilterCoefficients* coefficients);

inline constexpr char MAKE_FILTER[] = "make_filter_of_path";
inline constexpr char FREE_FILTER[] = "free_filter";
inline constexpr char FILTER_SETS[] = "filter_sets";

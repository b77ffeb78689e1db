// What filter_libraries_bench calls in a library of filter loops. It is made of
// bench/filter_library.cpp and the dsp/ of a commit (see scripts/bench-filter).
#pragma once

#include "bench/filter_works.h"

#include <cstddef>

// A filter and its scratch memory; `path` is the position in the list of FilterPath. None when this
// processor cannot take it.
using make_filter_function = void*(int path);
using free_filter_function = void(void* filter);
// All sets, which follow each other from `samples` on, in place.
using filter_sets_function = void(void* filter, float* samples,
                                  const talvora::bench::SetShape* sets, std::size_t set_count,
                                  const talvora::dsp::FilterCoefficients* coefficients);

inline constexpr char MAKE_FILTER[] = "make_filter";
inline constexpr char FREE_FILTER[] = "free_filter";
inline constexpr char FILTER_SETS[] = "filter_sets";

// Passes over the rows of a group by blocks that fit the first-level cache.
//
// Silence costs no arithmetic. After a few hundred exact zeros the state of a filter is
// made of denormal numbers, on which many processors are fifty times slower, and in
// silence it soon repeats: it stands still or turns in a short cycle. A block that starts
// in the state in which the one before started, and has its input bit for bit, has its
// output and its state too. So the output is copied, and remains that of the plain loop
// to the last bit of the smallest denormal.
#pragma once

#include "dsp/lane_group.h"
#include "dsp/lane_pass.h"

namespace talvora::dsp {

// Rows [first, last) of the group, which follow the last ones of this pass, from samples
// through the rows of `block`, which stay in the first-level cache, to filtered rows at
// `rows`, which follow those of the last block in memory. Without `rows` only the state
// after them is wanted.
void filter_block_forward(const LaneGroup& group, LanePass& pass, std::ptrdiff_t first,
                          std::ptrdiff_t last, double* block, double* rows = nullptr);

// `row_count` rows from the last to the first, which come before the last ones of this
// pass in memory, to the rows at `out`, which is the same in every call.
void filter_block_backward(LanePass& pass, const double* rows, std::ptrdiff_t row_count,
                           double* out);

} // namespace talvora::dsp

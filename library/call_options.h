// What a caller chose for a function on arrays.
#pragma once

#include "library/talvora/talvora.h"

#include <cstddef>
#include <optional>

namespace talvora::library {

// NULL is all defaults. Throws InvalidArgument for what is not among the choices.
talvora_filter_options read_options(const talvora_filter_options* options);

// Threads that the work may be parted among, 1 or more.
std::size_t count_workers(const talvora_filter_options& options);

// Samples added at each end of a run, or nothing for what the unit has.
std::optional<std::size_t> choose_pad_count(talvora_pad pad, std::size_t tap_count);

} // namespace talvora::library

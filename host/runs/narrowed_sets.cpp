#include "host/runs/narrowed_sets.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

std::string describe_change(const RoundingChange& change) {
    return change.largest_change > 0 ? fmt::format("largest change {:.1e} of the largest sample",
                                                   change.largest_change / change.largest_sample)
                                     : "no sample is changed by that";
}

} // namespace

std::string describe_narrowing(const NarrowedSet& set) {
    const bool is_float = set.type == SampleType::Float16 || set.type == SampleType::Float64;
    return fmt::format("{}: {}, {} in the result; {}", set.path, describe_sample_type(set.type),
                       is_float ? "32-bit" : "32-bit floats", describe_change(set.change));
}

} // namespace talvora::host

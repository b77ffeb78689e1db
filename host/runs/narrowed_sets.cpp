#include "host/runs/narrowed_sets.h"

#include <fmt/format.h>

namespace talvora::host {
std::string describe_narrowing(const NarrowedSet& set) {
    if (set.type == SampleType::Float32) {
        return fmt::format("{}: stored by {}, which does not keep 32-bit floats that are written; "
                           "without it in the result",
                           set.path, set.filter_left_out);
    }
    const bool is_float = set.type == SampleType::Float16 || set.type == SampleType::Float64;
    return fmt::format(
        "{}: {}, {} in the result; {}{}", set.path, describe_sample_type(set.type),
        is_float ? "32-bit" : "32-bit floats", describe_rounding(set.rounding),
        set.filter_left_out.empty() ? "" : fmt::format("; without {}", set.filter_left_out));
}

} // namespace talvora::host

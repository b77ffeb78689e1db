#include "host/runs/set_change.h"

#include "host/text/plural.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {

std::string describe_set_change(const SetObservation& set) {
    const SetState& after = set.after;
    std::string text =
        fmt::format("{}: {}", set.path, count_things(count_samples(after.extents), "sample"));
    if (after.sample_rate) {
        text += fmt::format(" at {:.6g} Hz", *after.sample_rate);
    }
    text += set.before ? fmt::format(", missing {} before, {} after", set.before->missing_count,
                                     after.missing_count)
                       : fmt::format(", new, {} missing", after.missing_count);
    if (set.filled_gap_count) {
        text += fmt::format(", gaps {} filled, {} left", *set.filled_gap_count, after.gap_count);
    }
    return text;
}

} // namespace talvora::host

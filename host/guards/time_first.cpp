#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/text/quote_word.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace talvora::host {
namespace {

// Fewer samples of more components than these are no recording that anybody has.
constexpr std::uint64_t FEW_COMPONENTS = 100;
constexpr std::uint64_t COMPONENTS_A_SAMPLE = 16;

// Of a step that names no dimension of its own; units that work on each sample by itself, or on
// chosen components, take none for time.
bool takes_last_for_time(const ParameterValues& values) {
    const auto* axis = find_value<std::int64_t>(values, AXIS_KEY);
    const bool names_one = axis != nullptr && *axis >= 0;
    const bool is_along_axis =
        values.signature(AXIS_KEY) != nullptr && values.signature(COMPONENTS_KEY) == nullptr;
    return !names_one && (is_along_axis || !works_in_place(values.signatures()));
}

// The dimension that is longer than any recording has components; nothing for samples in a row.
std::optional<std::size_t> find_other_time(const Extents& extents) {
    const auto longest = std::ranges::max_element(extents);
    const bool is_time =
        *longest >= FEW_COMPONENTS && *longest / COMPONENTS_A_SAMPLE >= extents.back();
    return is_time ? std::optional(static_cast<std::size_t>(longest - extents.begin()))
                   : std::nullopt;
}

} // namespace

std::vector<GuardFinding> find_time_first_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    if (!takes_last_for_time(step.step.values)) {
        return found;
    }
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const Extents extents = step.tree.extents(set);
        const auto time = find_other_time(extents);
        if (time && count_samples(extents) > 0) {
            found.push_back(
                {.set = step.tree.path(set),
                 .text =
                     fmt::format("of {} the last dimension is taken for time, and dimension {} "
                                 "has {} times as many samples",
                                 describe_extents(extents), *time, extents[*time] / extents.back()),
                 .remedy = fmt::format("talvora-host import {} -o FILE.h5 --time-axis {} --rate HZ "
                                       "--group / turns it",
                                       quote_word(step.source), *time),
                 .numbers = {{"shape", extents}, {"longest", *time}}});
        }
    }
    return found;
}

} // namespace talvora::host

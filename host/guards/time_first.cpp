#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/text/quote_word.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

// Of a step that names no dimension of its own; units that work on each sample by itself, or on
// chosen components, take none for time.
bool takes_last_for_time(const ParameterValues& values) {
    const auto* axis = find_value<std::int64_t>(values, AXIS_KEY);
    const bool names_one = axis != nullptr && *axis >= 0;
    const bool is_along_axis =
        values.signature(AXIS_KEY) != nullptr && values.signature(COMPONENTS_KEY) == nullptr;
    return !names_one && (is_along_axis || !works_in_place(values.signatures()));
}

} // namespace

std::vector<GuardFinding> find_time_first_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    if (!takes_last_for_time(step.step.values)) {
        return found;
    }
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const Extents extents = step.tree.extents(set);
        const auto time = find_likelier_time(extents, extents.size() - 1);
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

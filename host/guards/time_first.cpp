#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/text/quote_word.h"
#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace talvora::host {
namespace {

// Of a step that names no dimension of its own; units that work on each sample by itself, or on
// chosen components, take none for time.
bool takes_last_for_time(const ParameterValues& values) {
    const auto* axis = find_value<std::int64_t>(values, AXIS_KEY);
    const bool names_one = axis != nullptr && *axis >= 0;
    const bool is_along_axis =
        declares(values.signatures(), AXIS_KEY) && !declares(values.signatures(), COMPONENTS_KEY);
    return !names_one && (is_along_axis || !works_in_place(values.signatures()));
}

// Those of the other dimensions; their longest one is then likely to be time.
std::size_t find_longest_before_last(const Extents& extents) {
    return static_cast<std::size_t>(std::ranges::max_element(extents.begin(), extents.end() - 1) -
                                    extents.begin());
}

// The last dimension has as many samples as the set has labels, and no other one has.
bool has_labelled_last(DataTree& tree, ObjectId set, const Extents& extents) {
    const std::size_t label_count = read_labels(tree, set).size();
    return extents.size() > 1 && label_count == extents.back() && !fits_lines(extents, label_count);
}

GuardFinding make_finding(const GuardedStep& step, ObjectId set, std::size_t time,
                          const std::string& reason) {
    const Extents extents = step.tree.extents(set);
    const auto rate = read_number_attribute(step.tree, set, SAMPLE_RATE_ATTRIBUTE);
    const bool is_rate = rate && std::isfinite(*rate) && *rate > 0;
    return {.set = step.tree.path(set),
            .text = fmt::format("of {} the last dimension is taken for time, and {}",
                                describe_extents(extents), reason),
            .remedy = fmt::format("talvora-host import {} -o FILE.h5 --time-axis {} --rate {} "
                                  "--group / turns it",
                                  quote_word(step.source), time,
                                  is_rate ? fmt::format("{:.9g}", *rate) : "HZ"),
            .numbers = {{"shape", extents}, {"longest", time}}};
}

} // namespace

std::vector<GuardFinding> find_time_first_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    if (!takes_last_for_time(step.step.values)) {
        return found;
    }
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const Extents extents = step.tree.extents(set);
        if (count_samples(extents) == 0) {
            continue;
        }
        if (const auto time = find_likelier_time(extents, extents.size() - 1)) {
            found.push_back(make_finding(step, set, *time,
                                         fmt::format("dimension {} has {} times as many samples",
                                                     *time, extents[*time] / extents.back())));
        } else if (has_labelled_last(step.tree, set, extents)) {
            found.push_back(make_finding(
                step, set, find_longest_before_last(extents),
                fmt::format("its Labels are {}, as many as that has", extents.back())));
        }
    }
    return found;
}

} // namespace talvora::host

#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <span>

namespace talvora::host {

// The filter takes the samples of a set in blocks of the dimension's extent, as they are stored.
std::vector<GuardFinding> find_mixed_components(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    if (!makes_filter(*step.step.unit)) {
        return found;
    }
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const Extents extents = step.tree.extents(set);
        const std::size_t axis = find_axis(step.step.values, extents);
        const std::uint64_t component_count = count_samples(std::span(extents).subspan(axis + 1));
        if (component_count > 1 && extents[axis] > 1) {
            found.push_back(
                {.set = step.tree.path(set),
                 .text = fmt::format(
                     "of {} the filter takes {} samples in a row as they are stored, which along "
                     "dimension {} are those of {} components in turn",
                     describe_extents(extents), extents[axis], axis, component_count),
                 .remedy = fmt::format("{}=-1, with the samples of a component stored in a row, "
                                       "as talvora-host import does",
                                       AXIS_KEY),
                 .numbers = {
                     {"axis", axis}, {"block", extents[axis]}, {"components", component_count}}});
        }
    }
    return found;
}

} // namespace talvora::host

#include "host/filters/rate_changes.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

GuardFinding make_finding(const std::string& path, const Extents& extents, std::size_t axis) {
    return {.set = path,
            .text = fmt::format("of {} the samples along dimension {} are kept by requests that "
                                "write them to their places only where that is the last one",
                                describe_extents(extents), axis),
            .remedy = fmt::format("turn the set, so that its samples run along the last dimension: "
                                  "talvora-host import with --time-axis {} does it",
                                  axis),
            .numbers = {{"shape", extents}, {"axis", axis}}};
}

} // namespace

std::vector<GuardFinding> find_misplaced_samples(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const RateChange& change : find_rate_changes(step.step, step.tree)) {
        const auto set = step.tree.find(step.tree.root(), change.path);
        if (!set) {
            continue;
        }
        const Extents extents = step.tree.extents(*set);
        const std::size_t axis = find_axis(step.step.values, extents);
        if (axis + 1 < extents.size() && count_samples(extents) > 0) {
            found.push_back(make_finding(change.path, extents, axis));
        }
    }
    return found;
}

} // namespace talvora::host

#include "host/filters/filter_parameters.h"
#include "host/filters/known_units.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace talvora::host {
namespace {

constexpr std::string_view REMEDY = "{}=-1, with the samples of a component stored in a row, as "
                                    "talvora-host import does";

// The filter takes the samples of a set in blocks of the dimension's extent, as they are stored.
std::optional<GuardFinding> find_mixed_blocks(const Extents& extents, std::size_t axis) {
    const std::uint64_t component_count = count_samples(std::span(extents).subspan(axis + 1));
    if (component_count <= 1 || extents[axis] <= 1) {
        return std::nullopt;
    }
    return GuardFinding{
        .text = fmt::format("of {} the filter takes {} samples in a row as they are stored, which "
                            "along dimension {} are those of {} components in turn",
                            describe_extents(extents), extents[axis], axis, component_count),
        .remedy = fmt::format(REMEDY, AXIS_KEY),
        .numbers = {{"axis", axis}, {"block", extents[axis]}, {"components", component_count}}};
}

// Gaps are filled along the dimension wherever it lies, which is right where that is time: the
// longest one, as recordings are.
std::optional<GuardFinding> find_mixed_gaps(const Extents& extents, std::size_t axis) {
    const auto longest = std::ranges::max_element(extents);
    if (axis + 1 == extents.size() || extents[axis] == *longest || count_samples(extents) == 0) {
        return std::nullopt;
    }
    return GuardFinding{
        .text = fmt::format("of {} gaps are filled along dimension {}, from other components, for "
                            "dimension {} is longer",
                            describe_extents(extents), axis, longest - extents.begin()),
        .remedy = fmt::format(REMEDY, AXIS_KEY),
        .numbers = {
            {"axis", axis}, {"extent", extents[axis]}, {"longest", longest - extents.begin()}}};
}

} // namespace

std::vector<GuardFinding> find_mixed_components(const GuardedStep& step) {
    const Unit& unit = *step.step.unit;
    if (!makes_filter(unit) && !fills_gaps(unit)) {
        return {};
    }
    std::vector<GuardFinding> found;
    for (const ObjectId set : find_source_sets(step.step.values, step.tree)) {
        const Extents extents = step.tree.extents(set);
        const std::size_t axis = find_axis(step.step.values, extents);
        auto finding =
            makes_filter(unit) ? find_mixed_blocks(extents, axis) : find_mixed_gaps(extents, axis);
        if (finding) {
            finding->set = step.tree.path(set);
            found.push_back(std::move(*finding));
        }
    }
    return found;
}

} // namespace talvora::host

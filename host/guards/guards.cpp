#include "host/guards/guards.h"

#include "host/guards/guard_functions.h"
#include "host/recipes/recipe.h"

#include <algorithm>
#include <iterator>

namespace talvora::host {
namespace {

using Find = std::vector<GuardFinding> (*)(const GuardedStep& step);

struct Guard {
    std::string_view name;      // as it is accepted by
    std::string_view about;     // one sentence
    Find find_before = nullptr; // looks before samples
    Find find_after = nullptr;  // looks after the step
};

constexpr Guard GUARDS[] = {
    {"unusable-filter",
     "the filter is unstable, its edge cannot be had at the rate, or its order asks for more "
     "digits than there are",
     find_unusable_filters},
    {"time-first",
     "another dimension is many times longer than the last, which is taken for time, or the last "
     "has as many samples as there are labels",
     find_time_first_sets},
    {"mixed-components",
     "the filter takes samples of several components in a row, for its axis is not the last, or "
     "gaps are filled from other components",
     find_mixed_components},
    {"misplaced-samples",
     "a set is reduced along another dimension than the last, and what is kept of it is written to "
     "wrong places",
     find_misplaced_samples},
    {"passed-over", "a set was chosen, and the step did not take it", foresee_left_sets,
     find_left_sets},
    {"time-base", "the samples of a set take another time at its new rate than they took before",
     foresee_time_bases, find_changed_time_bases},
    {"line-lost", "a line that had valid samples has none any more", nullptr, find_lost_lines},
    {"not-finite", "samples became infinite, or infinite ones made others missing", nullptr,
     find_infinities},
    {"mean-off", "a mean is not that of its samples: they are too many for single precision",
     nullptr, find_means_off},
    {"narrowing",
     "32-bit floats are too few digits for what differs among the samples, or take the place of "
     "others in the input",
     nullptr, find_narrowed_sets},
    {"stale-scale",
     "a dimension scale and a dimension that it is attached to have different lengths after one of "
     "the two was resized",
     nullptr, find_stale_scales},
    {"netcdf-attribute",
     "numbers of several dimensions in an attribute, with which programs of netCDF open no file",
     nullptr, find_netcdf_attributes},
    {"unit-error", "the unit told of an error, and returned success all the same", nullptr,
     find_unit_errors},
    {"nothing-done", "the step changed no sample and made nothing that holds any", nullptr,
     find_nothing_done},
};

} // namespace

std::vector<std::string> list_guards() {
    std::vector<std::string> names;
    std::ranges::transform(GUARDS, std::back_inserter(names),
                           [](const Guard& guard) { return std::string(guard.name); });
    return names;
}

std::string_view describe_guard(std::string_view name) {
    const auto* const guard = std::ranges::find(GUARDS, name, &Guard::name);
    return guard != std::end(GUARDS) ? guard->about : std::string_view();
}

std::vector<GuardFinding> find_guarded(const GuardedStep& step, GuardTime time) {
    std::vector<GuardFinding> all;
    for (const Guard& guard : GUARDS) {
        const Find find = time == GuardTime::AfterStep ? guard.find_after : guard.find_before;
        if (find == nullptr) {
            continue;
        }
        for (GuardFinding& finding : find(step)) {
            finding.guard = guard.name;
            finding.step = step.step.name;
            finding.accepted = accepts_guard(step.step, guard.name);
            all.push_back(std::move(finding));
        }
    }
    return all;
}

} // namespace talvora::host

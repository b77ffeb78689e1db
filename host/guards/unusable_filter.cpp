#include "host/filters/filter_fault.h"
#include "host/filters/filter_report.h"
#include "host/guards/guard_functions.h"

#include <fmt/format.h>

namespace talvora::host {

std::vector<GuardFinding> find_unusable_filters(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const FilterFacts& facts : step.filters) {
        if (const auto fault = find_fault(facts.design)) {
            found.push_back(
                {.text = fmt::format("at {} Hz {}", name_rate(facts.design), fault->text),
                 .remedy = fmt::format("at this rate {}  {}", fault->remedy,
                                       make_design_command(facts.design)),
                 .numbers = make_json(facts)});
        }
    }
    return found;
}

} // namespace talvora::host

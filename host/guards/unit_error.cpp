#include "host/guards/guard_functions.h"
#include "host/text/plural.h"

#include <fmt/format.h>

namespace talvora::host {

std::vector<GuardFinding> find_unit_errors(const GuardedStep& step) {
    if (step.unit_errors.empty()) {
        return {};
    }
    const std::string& first = step.unit_errors.front();
    return {{.text = fmt::format("the unit told of {} and returned success; the first: {}",
                                 count_things(step.unit_errors.size(), "error"), first),
             .remedy = "what it tells of is not in the result",
             .numbers = {{"errors", step.unit_errors.size()}, {"first", first}}}};
}

} // namespace talvora::host

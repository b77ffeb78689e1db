#include "host/guards/guard_functions.h"

#include <fmt/format.h>

namespace talvora::host {

std::vector<GuardFinding> find_narrowed_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const auto& [path, type] : step.narrowed) {
        found.push_back({.set = path,
                         .text = fmt::format("is of {}, and would be of 32-bit floats in the place "
                                             "of the input",
                                             describe_sample_type(type)),
                         .remedy = "-o FILE or --out-dir FOLDER writes the result beside it",
                         .numbers = {{"dtype", name_sample_type(type)}}});
    }
    return found;
}

} // namespace talvora::host

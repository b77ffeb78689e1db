#include "host/guards/guard_functions.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

GuardFinding make_in_place(const std::string& path, const RoundedSamples& samples) {
    return {.set = path,
            .text = fmt::format("is of {}, and would be of 32-bit floats in the place of the input",
                                describe_sample_type(samples.type)),
            .remedy = "-o FILE or --out-dir FOLDER writes the result beside it",
            .numbers = {{"dtype", name_sample_type(samples.type)}}};
}

GuardFinding make_of_range(const std::string& path, const RoundedSamples& samples) {
    const RoundingChange& change = samples.change;
    const std::string line =
        samples.line.empty() ? "" : fmt::format(", which in its line {} lie", samples.line);
    return {.set = path,
            .text = fmt::format("is of {}{} between {:.9g} and {:.9g}; as 32-bit floats they "
                                "change by up to {:.3g}, {:.1e} of that range",
                                describe_sample_type(samples.type), line, change.least,
                                change.greatest, change.largest_change, change.part_of_range()),
            .remedy = "subtract an offset before, in 64 bits, where the file was made",
            .numbers = {{"dtype", name_sample_type(samples.type)},
                        {"least", change.least},
                        {"greatest", change.greatest},
                        {"largest_change", change.largest_change}}};
}

} // namespace

std::vector<GuardFinding> find_narrowed_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const auto& [path, samples] : step.rounded) {
        if (samples.replaces_original) {
            found.push_back(make_in_place(path, samples));
        }
    }
    for (const auto& [path, samples] : step.rounded) {
        if (samples.change.part_of_range() > LARGE_PART_OF_RANGE) {
            found.push_back(make_of_range(path, samples));
        }
    }
    return found;
}

} // namespace talvora::host

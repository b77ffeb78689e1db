#include "host/guards/guard_functions.h"
#include "host/guards/line_summaries.h"
#include "host/guards/set_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace talvora::host {
namespace {

GuardFinding make_in_place(const std::string& path, const RoundedSamples& samples) {
    return {.set = path,
            .text = fmt::format("is of {}, and would be of 32-bit floats in the place of the input",
                                describe_sample_type(samples.type)),
            .remedy = "-o FILE or --out-dir FOLDER writes the result beside it",
            .numbers = {{"dtype", name_sample_type(samples.type)}}};
}

// In as many digits as tell them apart.
std::string describe_range(double least, double greatest) {
    std::string ends[] = {fmt::format("{:.9g}", least), fmt::format("{:.9g}", greatest)};
    return ends[0] != ends[1] ? fmt::format("{} and {}", ends[0], ends[1])
                              : fmt::format("{} and {}", least, greatest);
}

GuardFinding make_of_range(const std::string& path, const RoundedSamples& samples,
                           std::string text) {
    const RoundingChange& change = samples.change;
    return {.set = path,
            .text = std::move(text),
            .remedy = "subtract an offset before, in 64 bits, where the file was made",
            .numbers = {{"dtype", name_sample_type(samples.type)},
                        {"least", change.least},
                        {"greatest", change.greatest},
                        {"largest_change", change.largest_change}}};
}

// ---------------------------------------------------------------------------
// What a filter makes of integers lies between them, and is rounded to the floats that there are

// A float that is nearer than this to what was meant, in steps of the integers, hides nothing that
// a filter brings out.
constexpr double FINE = 0.01;

// Of what lies far from 0 on the line: half of what parts its floats.
double largest_rounding(const LineSummary& line) {
    const float largest = std::max(std::abs(line.least), std::abs(line.greatest));
    const float next = std::nextafter(largest, std::numeric_limits<float>::infinity());
    return (static_cast<double>(next) - static_cast<double>(largest)) / 2;
}

double range_of(const LineSummary& line) {
    return static_cast<double>(line.greatest) - static_cast<double>(line.least);
}

bool is_coarse(const LineSummary& line) {
    const double rounding = largest_rounding(line);
    return line.least < line.greatest && rounding > FINE &&
           rounding > LARGE_PART_OF_RANGE * range_of(line);
}

GuardFinding make_coarse(const std::string& path, SampleType type, const std::string& name,
                         const LineSummary& line) {
    const double spacing = 2 * largest_rounding(line);
    return {.set = path,
            .text = fmt::format("is of {}; what the filter makes of them lies in its line {} "
                                "between {:.9g} and {:.9g}, where 32-bit floats are {:.3g} apart, "
                                "{:.1e} of that range",
                                describe_sample_type(type), name, line.least, line.greatest,
                                spacing, spacing / range_of(line)),
            .remedy = "take the offset off before: talvora-host describe apply-set-baseline-offset",
            .numbers = {{"dtype", name_sample_type(type)},
                        {"least", line.least},
                        {"greatest", line.greatest},
                        {"spacing", spacing}}};
}

std::optional<GuardFinding> find_coarse_line(const GuardedStep& step, const std::string& path,
                                             SampleType type) {
    const auto set = step.tree.find(step.tree.root(), path);
    const Extents extents = step.tree.extents(set.value());
    const SetLines lines(extents, extents.size() - 1);
    const auto summaries = summarise_lines(step.tree, *set, lines);
    const auto coarse = std::ranges::find_if(summaries, is_coarse);
    if (coarse == summaries.end()) {
        return std::nullopt;
    }
    const auto line = static_cast<std::uint64_t>(coarse - summaries.begin());
    return make_coarse(path, type, lines.name(line), *coarse);
}

// Other units give integers back, or what is between two of them at single samples.
void add_coarse_sets(const GuardedStep& step, std::vector<GuardFinding>& found) {
    if (step.filters.empty()) {
        return;
    }
    for (const SetObservation& set : step.done->sets) {
        const auto rounded = step.rounded.find(set.path);
        if (set.written && rounded != step.rounded.end() && is_integer(rounded->second.type)) {
            if (auto finding = find_coarse_line(step, set.path, rounded->second.type)) {
                found.push_back(std::move(*finding));
            }
        }
    }
}

} // namespace

std::optional<std::string> describe_lost_range(const RoundedSamples& samples) {
    const RoundingChange& change = samples.change;
    if (change.part_of_range() <= LARGE_PART_OF_RANGE) {
        return std::nullopt;
    }
    return fmt::format(
        "is of {}{}{} between {}; as 32-bit floats they change by up to {:.3g}, "
        "{:.1e} of that range",
        describe_sample_type(samples.type),
        samples.line.empty() ? "" : fmt::format(", which in its line {} lie", samples.line),
        samples.leaves_outliers ? ", but for outliers," : "",
        describe_range(change.least, change.greatest), change.largest_change,
        change.part_of_range());
}

std::vector<GuardFinding> find_narrowed_sets(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const auto& [path, samples] : step.rounded) {
        if (samples.replaces_original) {
            found.push_back(make_in_place(path, samples));
        }
    }
    for (const auto& [path, samples] : step.rounded) {
        if (auto text = describe_lost_range(samples)) {
            found.push_back(make_of_range(path, samples, std::move(*text)));
        }
    }
    add_coarse_sets(step, found);
    return found;
}

} // namespace talvora::host

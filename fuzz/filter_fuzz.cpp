// Filters the lines of a set by every path that this processor can take: all give the bits
// of the plain one, except for the sign and payload of a NaN that arises on the way.
#include "dsp/filter_set.h"
#include "fuzz/finding.h"
#include "fuzz/made_filter.h"
#include "fuzz/same_bits.h"
#include "fuzz/signals.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace {

using namespace talvora::dsp;
using namespace talvora::fuzz;

constexpr std::uint64_t MOST_SAMPLES = 8192;

bool same_sample(float left, float right) {
    return same_bits(left, right) || (std::isnan(left) && std::isnan(right));
}

std::vector<float> filter(SetFilter<float>& path, std::vector<float> samples,
                          std::uint64_t line_length, const FilterCoefficients& coefficients) {
    path.filter_in_place(samples, line_length, coefficients);
    return samples;
}

void check_same(const std::vector<float>& samples, const std::vector<float>& expected,
                const std::string& what) {
    const auto [sample, wanted] = std::ranges::mismatch(samples, expected, same_sample);
    if (wanted != expected.end()) {
        report_finding(what + ": sample " + std::to_string(wanted - expected.begin()) + " is " +
                       std::to_string(*sample) + " instead of " + std::to_string(*wanted));
    }
}

// What the first set leaves in the scratch memory must not matter for the second.
void check_path(FilterPath fast, const std::vector<float>& samples, std::uint64_t line_length,
                const FilterCoefficients& coefficients, const std::vector<float>& expected) {
    SetFilter<float> path(fast);
    const std::string name = "path " + std::to_string(static_cast<int>(fast));
    check_same(filter(path, samples, line_length, coefficients), expected, name);
    check_same(filter(path, samples, line_length, coefficients), expected, name + ", second set");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const FilterCoefficients coefficients = make_filter(choices);
    const auto line_length = choices.ConsumeIntegralInRange<std::uint64_t>(1, 1500);
    const auto line_count = choices.ConsumeIntegralInRange<std::uint64_t>(
        0, std::min<std::uint64_t>(40, MOST_SAMPLES / line_length));
    const std::vector<float> samples = make_samples(choices, line_length * line_count);

    SetFilter<float> plain(FilterPath::Plain);
    const std::vector<float> expected = filter(plain, samples, line_length, coefficients);
    for (const LanePath& fast : lane_paths()) {
        if (fast.can_be_taken()) {
            check_path(fast.path, samples, line_length, coefficients, expected);
        }
    }
    return 0;
}

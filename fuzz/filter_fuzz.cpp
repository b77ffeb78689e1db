// Filters the lines of a set by every path that this processor can take, in place and from one
// place to another: all give the bits of the plain one in place, except for the sign and payload of
// a NaN that arises on the way.
#include "dsp/filter_set.h"
#include "fuzz/finding.h"
#include "fuzz/made_filter.h"
#include "fuzz/same_bits.h"
#include "fuzz/signals.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace talvora::dsp;
using namespace talvora::fuzz;

constexpr std::uint64_t MOST_SAMPLES = 8192;

template <class Sample>
bool same_sample(Sample left, Sample right) {
    return same_bits(left, right) || (std::isnan(left) && std::isnan(right));
}

// Now and then one that a caller chooses, or none.
std::optional<std::size_t> make_pad_count(Choices& choices) {
    return one_in(choices, 3) ? std::optional(choices.ConsumeIntegralInRange<std::size_t>(0, 80))
                              : std::nullopt;
}

struct Work {
    std::uint64_t line_length;
    FilterCoefficients coefficients;
    std::optional<std::size_t> pad_count;
    Missing missing;
};

template <class Sample>
std::vector<Sample> filter(SetFilter<Sample>& path, std::vector<Sample> samples, const Work& work) {
    path.filter_in_place(samples, work.line_length, work.coefficients, work.pad_count);
    return samples;
}

// From one place to another: what is read stays.
template <class Sample>
std::vector<Sample> filter_apart(SetFilter<Sample>& path, const std::vector<Sample>& samples,
                                 const Work& work) {
    const std::vector<Sample> before = samples;
    std::vector<Sample> filtered(samples.size());
    path.add(samples, filtered, work.line_length, work.coefficients, work.pad_count);
    path.finish();
    if (!same_bits(samples, before)) {
        report_finding("samples that are read were written");
    }
    return filtered;
}

template <class Sample>
void check_same(const std::vector<Sample>& samples, const std::vector<Sample>& expected,
                const std::string& what) {
    const auto [sample, wanted] = std::ranges::mismatch(samples, expected, same_sample<Sample>);
    if (wanted != expected.end()) {
        report_finding(what + ": sample " + std::to_string(wanted - expected.begin()) + " is " +
                       std::to_string(*sample) + " instead of " + std::to_string(*wanted));
    }
}

// What the first set leaves in the scratch memory must not matter for the second, apart.
template <class Sample>
void check_path(FilterPath fast, const std::vector<Sample>& samples, const Work& work,
                const std::vector<Sample>& expected) {
    SetFilter<Sample> path(fast, work.missing);
    const std::string name = "path " + std::to_string(static_cast<int>(fast));
    check_same(filter(path, samples, work), expected, name);
    check_same(filter_apart(path, samples, work), expected, name + ", apart");
}

template <class Sample>
void check_paths(const std::vector<Sample>& samples, const Work& work) {
    SetFilter<Sample> plain(FilterPath::Plain, work.missing);
    const std::vector<Sample> expected = filter(plain, samples, work);
    check_same(filter_apart(plain, samples, work), expected, "plain path, apart");
    for (const LanePath& fast : lane_paths()) {
        if (fast.can_be_taken()) {
            check_path(fast.path, samples, work, expected);
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    Work work;
    work.coefficients = make_filter(choices);
    work.line_length = choices.ConsumeIntegralInRange<std::uint64_t>(1, 1500);
    const auto line_count = choices.ConsumeIntegralInRange<std::uint64_t>(
        0, std::min<std::uint64_t>(40, MOST_SAMPLES / work.line_length));
    const std::vector<float> samples = make_samples(choices, work.line_length * line_count);
    work.pad_count = make_pad_count(choices);
    work.missing = one_in(choices, 4) ? Missing::Propagate : Missing::Omit;
    check_paths(samples, work);
    // Numbers that no float holds, and some beyond the range of all floats.
    std::vector<double> doubles(samples.begin(), samples.end());
    std::ranges::for_each(doubles, [](double& sample) { sample *= 1.1 * std::abs(sample); });
    check_paths(doubles, work);
    return 0;
}

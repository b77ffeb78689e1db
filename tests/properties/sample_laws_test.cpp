// Laws of what is done with samples before and beside filtering.
#include "dsp/reductions.h"
#include "tests/dsp/list_valid_runs.h"
#include "tests/properties/laws.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>

namespace talvora::properties {
namespace {

// n - 1 additions and a division, each of which rounds once, whatever their order (N. J.
// Higham, Accuracy and Stability of Numerical Algorithms, 2nd edition, equation 4.6).
RC_GTEST_PROP(MeanLaws, LiesBetweenMinimumAndMaximumButForRounding, ()) {
    const auto line = *line_of(finite_sample(), 1, 300);
    const double mean = static_cast<double>(dsp::mean(line));
    const std::vector<double> samples(line.begin(), line.end());
    const auto count = static_cast<double>(samples.size());
    double magnitude = 0.0;
    for (const double sample : samples) {
        magnitude += std::abs(sample) / count;
    }
    constexpr auto EPSILON = static_cast<double>(std::numeric_limits<float>::epsilon());
    const double bound = count * EPSILON * magnitude;
    RC_ASSERT(std::ranges::any_of(samples, [&](double x) { return x <= mean + bound; }));
    RC_ASSERT(std::ranges::any_of(samples, [&](double x) { return x >= mean - bound; }));
}

RC_GTEST_PROP(MeanLaws, OfAFactorOfTwoIsThatFactor, ()) {
    const auto line = *line_of(finite_sample(), 1, 300);
    Line doubled;
    for (const float sample : line) {
        doubled.push_back(2 * sample);
    }
    RC_ASSERT(dsp::mean(doubled) == 2 * dsp::mean(line));
}

std::vector<bool> mark(const std::vector<dsp::ValidRun>& runs, std::size_t count) {
    std::vector<bool> marks(count);
    for (const dsp::ValidRun& run : runs) {
        std::fill_n(marks.begin() + run.start, run.length, true);
    }
    return marks;
}

RC_GTEST_PROP(ValidRunLaws, HoldEverySampleThatIsNotMissingAndNoOther, ()) {
    const auto line = *line_of(with_gaps(any_sample()), 0, 80);
    std::vector<bool> valid;
    for (const float sample : line) {
        valid.push_back(!std::isnan(sample));
    }
    RC_ASSERT(mark(dsp::list_valid_runs(line, -1), line.size()) == valid);
}

RC_GTEST_PROP(ValidRunLaws, DoNotTouchEachOther, ()) {
    const auto line = *line_of(with_gaps(any_sample()), 0, 80);
    std::int64_t end = -1;
    for (const dsp::ValidRun& run : dsp::list_valid_runs(line, -1)) {
        RC_ASSERT(run.length > 0 && run.start > end);
        end = run.start + run.length;
    }
}

RC_GTEST_PROP(ValidRunLaws, OfALeastLengthAreTheLongEnoughOfAll, ()) {
    const auto line = *line_of(with_gaps(any_sample()), 0, 80);
    const auto least = *rc::gen::inRange<std::int64_t>(-1, 8);
    auto expected = dsp::list_valid_runs(line, -1);
    std::erase_if(expected, [&](const dsp::ValidRun& run) { return run.length < least; });
    RC_ASSERT(dsp::list_valid_runs(line, least) == expected);
}

} // namespace
} // namespace talvora::properties

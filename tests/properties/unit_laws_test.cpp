// Laws of the units, through the built library. Where a law is one of real numbers, it is
// tried on whole numbers, for which single precision is exact; where it is one of bits, on
// any bits.
#include "tests/properties/laws.h"
#include "tests/units/sample_patterns.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <utility>

namespace talvora::properties {
namespace {

using test_support::as_bits;

constexpr char RECTIFY[] = "orvane.signal.apply-set-rectify";
constexpr char OPPOSITE[] = "orvane.signal.apply-set-opposite";
constexpr char BASELINE[] = "orvane.signal.apply-set-baseline-offset";
constexpr char DOWNSAMPLE[] = "orvane.signal.apply-set-downsample";
constexpr char FILL_GAP[] = "orvane.signal.apply-set-fill-gap";
constexpr char BUTTERWORTH[] = "orvane.signal.apply-set-butterworth";
constexpr char AVERAGE_SET[] = "orvane.signal.average-set";
constexpr char MAXIMUM_EXTREMA[] = "orvane.signal.extract-set-maximum-extrema";

Block map_samples(Block block, float (*f)(float)) {
    std::ranges::transform(block.samples, block.samples.begin(), f);
    return block;
}

float negate(float sample) {
    return -sample;
}

// --- rectify

Line rectified(const Block& block) {
    return OneSet(block).after(RECTIFY);
}

RC_GTEST_PROP(RectifyLaws, TwiceIsOnce, ()) {
    const auto block = *block_of(any_sample());
    const Line once = rectified(block);
    RC_ASSERT(as_bits(rectified({block.extents, once})) == as_bits(once));
}

RC_GTEST_PROP(RectifyLaws, TheSignDoesNotMatter, ()) {
    const auto block = *block_of(any_sample());
    RC_ASSERT(as_bits(rectified(map_samples(block, negate))) == as_bits(rectified(block)));
}

// --- opposite

RC_GTEST_PROP(OppositeLaws, AddedToTheSamplesGivesNothing, ()) {
    const auto block = *block_of(finite_sample());
    const Line result = OneSet(block).after(OPPOSITE);
    for (std::size_t i = 0; i < result.size(); ++i) {
        RC_ASSERT(result[i] + block.samples[i] == 0.0F);
    }
}

RC_GTEST_PROP(OppositeLaws, TwiceGivesTheSameBits, ()) {
    const auto block = *block_of(any_sample());
    OneSet set(block);
    set.after(OPPOSITE);
    RC_ASSERT(as_bits(set.after(OPPOSITE)) == as_bits(block.samples));
}

RC_GTEST_PROP(OppositeLaws, TwiceOnAnyComponentsGivesTheSameBits, ()) {
    const auto block = *block_of(any_sample());
    OneSet set(block);
    set.with("Axis", an_axis_of(block))
        .with("Components", *rc::gen::container<Integers>(rc::gen::inRange<std::int64_t>(-1, 8)));
    set.after(OPPOSITE);
    RC_ASSERT(as_bits(set.after(OPPOSITE)) == as_bits(block.samples));
}

RC_GTEST_PROP(OppositeLaws, EveryComponentAloneMakesUpTheWhole, ()) {
    const auto block = *block_of(any_sample());
    const std::int64_t axis = an_axis_of(block);
    Integers components(block.extents[static_cast<std::size_t>(axis)]);
    std::iota(components.begin(), components.end(), 0);
    const Line whole = OneSet(block).after(OPPOSITE);
    RC_ASSERT(
        as_bits(OneSet(block).with("Axis", axis).with("Components", components).after(OPPOSITE)) ==
        as_bits(whole));
}

// --- baseline offset

Line without_baseline(const Block& block) {
    return OneSet(block).after(BASELINE);
}

RC_GTEST_PROP(BaselineOffsetLaws, AnOffsetAddedBeforeMakesNoDifference, ()) {
    const auto block = *block_of(whole_sample());
    const auto offset = *whole_sample();
    Block moved = block;
    for (float& sample : moved.samples) {
        sample += offset;
    }
    RC_ASSERT(without_baseline(moved) == without_baseline(block));
}

RC_GTEST_PROP(BaselineOffsetLaws, TwiceIsOnce, ()) {
    const auto block = *block_of(whole_sample());
    const Line once = without_baseline(block);
    RC_ASSERT(without_baseline({block.extents, once}) == once);
}

RC_GTEST_PROP(BaselineOffsetLaws, OfTheOppositeIsTheOpposite, ()) {
    const auto block = *block_of(whole_sample());
    const Block result{block.extents, without_baseline(block)};
    RC_ASSERT(without_baseline(map_samples(block, negate)) == map_samples(result, negate).samples);
}

// --- downsample

// At `rate` Hz, to the rate of the group "Hint".
OneSet& reduce(OneSet& set, int target) {
    set.host.group("Hint").attribute_float("SampleRate", static_cast<float>(target));
    set.with("HintGroup", "Hint").after(DOWNSAMPLE);
    return set;
}

// Every step-th sample of each line along the last dimension, as many as there are whole
// steps.
Line take_every(const Block& block, std::size_t step) {
    const std::size_t length = block.extents.back();
    Line kept;
    for (std::size_t i = 0; i < block.samples.size(); ++i) {
        const std::size_t position = i % length;
        if (position % step == 0 && position / step < length / step) {
            kept.push_back(block.samples[i]);
        }
    }
    return kept;
}

RC_GTEST_PROP(DownsampleLaws, KeepsExactlyEveryStepOfTheRates, ()) {
    const auto block = *block_of(any_sample());
    const int target = *rc::gen::inRange(1, 30);
    const int rate = *rc::gen::inRange(target, 8 * target);
    OneSet set(block, static_cast<float>(rate));
    reduce(set, target);
    RC_ASSERT(as_bits(set.host.samples("x")) ==
              as_bits(take_every(block, static_cast<std::size_t>(rate / target))));
}

RC_GTEST_PROP(DownsampleLaws, InTwoStepsIsInOne, ()) {
    const auto line = *line_of(any_sample(), 1, 60);
    const int first = *rc::gen::inRange(2, 6);
    const int second = *rc::gen::inRange(2, 6);
    const auto rate = static_cast<float>(first * second);
    Line at_once;
    {
        OneSet set(as_block(line), rate);
        at_once = reduce(set, 1).host.samples("x");
    }
    OneSet set(as_block(line), rate);
    reduce(set, second);
    RC_ASSERT(as_bits(reduce(set, 1).host.samples("x")) == as_bits(at_once));
}

// --- fill gap

Line filled(const Line& line, std::int64_t most) {
    return OneSet(as_block(line)).with("MaxGapLength", most).after(FILL_GAP);
}

RC_GTEST_PROP(FillGapLaws, LeavesTheBitsOfValidSamplesAlone, ()) {
    const auto line = *line_of(with_gaps(any_sample()), 1, 60);
    const Line result = filled(line, *rc::gen::element<std::int64_t>(-1, 1, 2, 3));
    for (std::size_t i = 0; i < line.size(); ++i) {
        RC_ASSERT(std::isnan(line[i]) || as_bits({result[i]}) == as_bits({line[i]}));
    }
}

// The neighbours of the gap that `index` lies in; beyond the line where there is none.
std::pair<std::ptrdiff_t, std::ptrdiff_t> neighbours(const Line& line, std::size_t index) {
    auto before = static_cast<std::ptrdiff_t>(index);
    auto after = before;
    const auto end = static_cast<std::ptrdiff_t>(line.size());
    while (before >= 0 && std::isnan(line[static_cast<std::size_t>(before)])) {
        --before;
    }
    while (after < end && std::isnan(line[static_cast<std::size_t>(after)])) {
        ++after;
    }
    return {before, after};
}

bool has_to_be_filled(const Line& line, std::pair<std::ptrdiff_t, std::ptrdiff_t> around,
                      std::int64_t most) {
    const auto [before, after] = around;
    const bool lies_inside = before >= 0 && after < static_cast<std::ptrdiff_t>(line.size());
    return lies_inside && (most < 0 || after - before - 1 <= most);
}

constexpr auto EPSILON = static_cast<double>(std::numeric_limits<float>::epsilon());
constexpr auto SMALLEST_FLOAT = static_cast<double>(std::numeric_limits<float>::denorm_min());

// Four roundings: the difference of the samples (twice the larger of them at most), the
// quotient, the product, the sum.
RC_GTEST_PROP(FillGapLaws, FillsByTheStraightLineAndLeavesTheRest, ()) {
    const auto line = *line_of(with_gaps(finite_sample()), 1, 60);
    const auto most = *rc::gen::element<std::int64_t>(-1, 1, 2, 3);
    const Line result = filled(line, most);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const auto around = neighbours(line, i);
        if (!std::isnan(line[i]) || !has_to_be_filled(line, around, most)) {
            RC_ASSERT(std::isnan(result[i]) == std::isnan(line[i]));
            continue;
        }
        const auto [before, after] = around;
        const auto left = static_cast<double>(line[static_cast<std::size_t>(before)]);
        const auto right = static_cast<double>(line[static_cast<std::size_t>(after)]);
        const double share = static_cast<double>(static_cast<std::ptrdiff_t>(i) - before) /
                             static_cast<double>(after - before);
        const double bound =
            4 * EPSILON * std::max(std::abs(left), std::abs(right)) + SMALLEST_FLOAT;
        RC_ASSERT(std::abs(static_cast<double>(result[i]) - (left + share * (right - left))) <=
                  bound);
    }
}

RC_GTEST_PROP(FillGapLaws, TwiceIsOnce, ()) {
    const auto line = *line_of(with_gaps(finite_sample()), 1, 60);
    const auto most = *rc::gen::inRange<std::int64_t>(1, 6);
    const Line once = filled(line, most);
    RC_ASSERT(as_bits(filled(once, most)) == as_bits(once));
}

// --- Butterworth

OneSet& choose_filter(OneSet& set, const char* bandform) {
    const bool has_band = std::string(bandform).find("Band") != std::string::npos;
    return set.with("CutoffFrequency", 20.0)
        .with("Order", std::int64_t{4})
        .with("Bandform", bandform)
        .with("BandWidth", has_band ? 10.0 : 0.0);
}

rc::Gen<const char*> any_bandform() {
    return rc::gen::element<const char*>("ZeroLagLowPass", "ZeroLagHighPass", "ZeroLagBandPass",
                                         "ZeroLagBandStop");
}

Line filtered(const Block& block, const char* bandform) {
    OneSet set(block);
    return choose_filter(set, bandform).after(BUTTERWORTH);
}

// Gaps so far apart that there are runs long enough to be filtered.
rc::Gen<float> sample_to_filter() {
    return with_gaps(whole_sample(), 20);
}

// In the bits, whatever the samples: factors of two change exponents alone.
RC_GTEST_PROP(ButterworthLaws, AFactorOfTwoGoesThroughExactly, ()) {
    const auto line = *line_of(sample_to_filter(), 1, 200);
    const auto bandform = *any_bandform();
    const auto exponent = *rc::gen::inRange(-20, 20);
    const auto scale = [&](Line samples) {
        for (float& sample : samples) {
            sample = std::ldexp(sample, exponent);
        }
        return samples;
    };
    RC_ASSERT(as_bits(filtered(as_block(scale(line)), bandform)) ==
              as_bits(scale(filtered(as_block(line), bandform))));
}

// However many lines are filtered side by side.
RC_GTEST_PROP(ButterworthLaws, ALineIsFilteredAsIfAlone, ()) {
    const auto line_count = *rc::gen::inRange<std::size_t>(1, 20);
    const auto length = *rc::gen::inRange<std::size_t>(1, 80);
    const auto samples = *rc::gen::container<Line>(line_count * length, sample_to_filter());
    const auto bandform = *any_bandform();
    const Line together = filtered({{line_count, length}, samples}, bandform);
    Line alone;
    for (std::size_t i = 0; i < line_count; ++i) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(i * length);
        const Line line(begin, begin + static_cast<std::ptrdiff_t>(length));
        const Line result = filtered(as_block(line), bandform);
        alone.insert(alone.end(), result.begin(), result.end());
    }
    RC_ASSERT(as_bits(together) == as_bits(alone));
}

// --- summaries

// Of the first line of a set of three dimensions.
float summarise(const Line& line, const char* unit) {
    RecordingHost host;
    host.dataset("Imu/x", {1, 1, line.size()}, line);
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("DestinationGroup", "Out");
    RC_ASSERT(host.run(unit));
    RC_ASSERT(host.take_violations() == Texts{});
    return host.samples("Out/x").at(0);
}

// The sum of whole numbers is exact, and rounding the quotient keeps the order.
RC_GTEST_PROP(SummaryLaws, AMeanLiesBetweenMinimumAndMaximum, ()) {
    const auto line = *line_of(whole_sample(), 1, 300);
    const float mean = summarise(line, AVERAGE_SET);
    RC_ASSERT(std::ranges::any_of(line, [&](float sample) { return sample <= mean; }));
    RC_ASSERT(std::ranges::any_of(line, [&](float sample) { return sample >= mean; }));
}

RC_GTEST_PROP(SummaryLaws, AMeanDoesNotDependOnTheOrder, ()) {
    const auto line = *line_of(whole_sample(), 1, 300);
    const Line turned(line.rbegin(), line.rend());
    RC_ASSERT(summarise(turned, AVERAGE_SET) == summarise(line, AVERAGE_SET));
}

RC_GTEST_PROP(SummaryLaws, AMaximumIsASampleThatNoneExceeds, ()) {
    const auto line = *line_of(with_gaps(finite_sample()), 1, 300);
    const float maximum = summarise(line, MAXIMUM_EXTREMA);
    const auto is_valid = [](float sample) { return !std::isnan(sample); };
    RC_ASSERT(std::isnan(maximum) == std::ranges::none_of(line, is_valid));
    if (is_valid(maximum)) {
        RC_ASSERT(std::ranges::find(line, maximum) != line.end());
        RC_ASSERT(std::ranges::none_of(line, [&](float sample) { return sample > maximum; }));
    }
}

} // namespace
} // namespace talvora::properties

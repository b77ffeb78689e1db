#include "tests/library/calls.h"

#include <gtest/gtest.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace talvora::library_test {
namespace {

template <class Sample>
class OfBothTypes : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(OfBothTypes, Types);

// ---------------------------------------------------------------------------
// Values

struct Case {
    std::string name;
    std::string missing;
    std::int64_t pad = 0;
    Filter filter;
    std::vector<double> input;
    std::vector<double> expected;
};

std::vector<double> read_words(std::istream& file) {
    std::string text;
    std::getline(file >> std::ws, text);
    std::istringstream line(text);
    std::vector<double> values;
    for (std::string word; line >> word;) {
        values.push_back(std::bit_cast<double>(std::stoull(word, nullptr, 16)));
    }
    return values;
}

std::vector<Case> read_cases() {
    std::ifstream file(TALVORA_GOLDEN_DIR "/library_filtfilt.txt");
    std::vector<Case> cases;
    for (Case next; file >> next.name >> next.missing >> next.pad;) {
        next.filter.b = read_words(file);
        next.filter.a = read_words(file);
        next.input = read_words(file);
        next.expected = read_words(file);
        cases.push_back(next);
    }
    return cases;
}

talvora_filter_options options_of(const Case& wanted) {
    talvora_filter_options options = default_options();
    options.missing = wanted.missing == "omit" ? TALVORA_OMIT : TALVORA_PROPAGATE;
    options.pad = wanted.pad;
    options.short_lines = TALVORA_REFUSE_SHORT;
    return options;
}

template <class Sample>
void expect_near(const std::vector<Sample>& found, const std::vector<double>& expected,
                 double tolerance) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (std::isfinite(expected[i])) {
            EXPECT_NEAR(static_cast<double>(found[i]), expected[i], tolerance) << "sample " << i;
        } else {
            EXPECT_EQ(std::isnan(found[i]), std::isnan(expected[i])) << "sample " << i;
            EXPECT_EQ(std::isinf(found[i]), std::isinf(expected[i])) << "sample " << i;
        }
    }
}

// Samples lie between -10 and 10.
TYPED_TEST(OfBothTypes, AgreeWithSciPy) {
    const double tolerance = std::is_same_v<TypeParam, float> ? 2e-5 : 1e-9;
    const std::vector<Case> cases = read_cases();
    EXPECT_GT(cases.size(), 20U);
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name + " " + each.missing + " " + std::to_string(each.pad));
        const std::vector<TypeParam> input(each.input.begin(), each.input.end());
        expect_near(filtered(each.filter, input, input.size(), options_of(each)), each.expected,
                    tolerance);
    }
}

// A low pass has the gain 1 at no frequency at all.
TYPED_TEST(OfBothTypes, KeepAConstant) {
    const std::vector<TypeParam> samples(40, TypeParam{2.5});
    for (const TypeParam sample : filtered(LOW_PASS, samples, 40)) {
        EXPECT_NEAR(sample, 2.5, 1e-6);
    }
}

TYPED_TEST(OfBothTypes, AreScaledTwiceByOneCoefficient) {
    const std::vector<TypeParam> samples = {1, -2, 3, 4, 0.5};
    EXPECT_EQ(filtered({{3.0}, {2.0}}, samples, 5),
              (std::vector<TypeParam>{2.25, -4.5, 6.75, 9, 1.125}));
}

// ---------------------------------------------------------------------------
// Missing samples

TYPED_TEST(OfBothTypes, MakeMissingWhatNoRunHoldsAtTheEnds) {
    std::vector<TypeParam> samples = zigzag<TypeParam>(40);
    samples[3] = std::numeric_limits<TypeParam>::quiet_NaN();
    samples[20] = std::numeric_limits<TypeParam>::quiet_NaN();
    samples[38] = std::numeric_limits<TypeParam>::quiet_NaN();
    const std::vector<TypeParam> out = filtered(LOW_PASS, samples, 40);
    const std::vector<TypeParam> run(samples.begin() + 4, samples.begin() + 20);
    const std::vector<TypeParam> alone = filtered(LOW_PASS, run, run.size());
    EXPECT_TRUE(same_bytes(std::vector(out.begin() + 4, out.begin() + 20), alone));
    for (const std::size_t missing : {0U, 1U, 2U, 3U, 20U, 38U, 39U}) {
        EXPECT_TRUE(std::isnan(out[missing])) << missing;
    }
}

TYPED_TEST(OfBothTypes, AreMissingWholeWhereTheyPropagate) {
    std::vector<TypeParam> samples = zigzag<TypeParam>(80);
    samples[13] = std::numeric_limits<TypeParam>::quiet_NaN();
    talvora_filter_options options = default_options();
    options.missing = TALVORA_PROPAGATE;
    const std::vector<TypeParam> out = filtered(LOW_PASS, samples, 40, options);
    for (std::size_t i = 0; i < 40; ++i) {
        EXPECT_TRUE(std::isnan(out[i])) << i;
        EXPECT_FALSE(std::isnan(out[40 + i])) << i;
    }
}

// ---------------------------------------------------------------------------
// Lines that are too short

struct ShortCase {
    talvora_pad pad;
    std::int64_t shortest; // that is filtered, with three taps
};

const ShortCase SHORT_CASES[] = {
    {TALVORA_PAD_UNIT, 8}, {TALVORA_PAD_SCIPY, 10}, {TALVORA_PAD_NONE, 1}, {4, 5}};

TYPED_TEST(OfBothTypes, AreLeftOrRefusedWhereTheyAreShort) {
    for (const auto& [pad, shortest] : SHORT_CASES) {
        for (const std::int64_t length : {shortest - 1, shortest}) {
            SCOPED_TRACE(std::to_string(pad) + " " + std::to_string(length));
            std::vector<TypeParam> samples = zigzag<TypeParam>(static_cast<std::size_t>(length));
            std::vector<TypeParam> out(samples.size());
            const Array from(samples.data(), {length});
            const Array to(out.data(), {length});
            talvora_filter_options options = default_options();
            options.pad = pad;
            EXPECT_EQ(filtfilt(LOW_PASS, from, to, options), DONE);
            // A single one is filtered to itself, as a constant is.
            EXPECT_EQ(out == samples, length < shortest || length == 1);
            options.short_lines = TALVORA_REFUSE_SHORT;
            EXPECT_EQ(filtfilt(LOW_PASS, from, to, options).status,
                      length < shortest ? TALVORA_INVALID_ARGUMENT : TALVORA_OK);
        }
    }
}

TEST(Filtfilt, TellsHowLongALineHasToBe) {
    std::vector<double> samples = {1, 2, 3};
    const Array in_place(samples.data(), {3});
    talvora_filter_options options = default_options();
    options.pad = TALVORA_PAD_SCIPY;
    options.short_lines = TALVORA_REFUSE_SHORT;
    EXPECT_EQ(filtfilt(LOW_PASS, in_place, in_place, options),
              (Outcome{TALVORA_INVALID_ARGUMENT,
                       "lines have 3 samples; with 9 added at each end they need 10 at least"}));
    EXPECT_EQ(samples, (std::vector<double>{1, 2, 3}));
}

// Three taps, runs of eight samples and more: in lines of 30, by turns whole, with a short run in
// the midst and at either end, and without a run that is long enough.
TYPED_TEST(OfBothTypes, TellOfRunsThatAreTooShort) {
    constexpr TypeParam MISSING = std::numeric_limits<TypeParam>::quiet_NaN();
    constexpr std::int64_t LINE_COUNT = 300;
    std::vector<TypeParam> samples = zigzag<TypeParam>(LINE_COUNT * 30);
    const auto miss = [&](std::int64_t line, std::initializer_list<int> positions) {
        for (const int position : positions) {
            samples[static_cast<std::size_t>(line * 30 + position)] = MISSING;
        }
    };
    for (std::int64_t line = 0; line < LINE_COUNT; line += 3) {
        miss(line + 1, {2, 12, 13, 17, 28});       // 0 and 1 and 29 erased, 14 to 16 left
        miss(line + 2, {3, 7, 8, 15, 16, 22, 24}); // 23 left
    }
    const std::vector<TypeParam> before = samples;
    for (const std::int32_t workers : {1, 2, 5}) {
        samples = before;
        talvora_short_runs told{};
        told.struct_size = sizeof told;
        talvora_filter_options options = default_options();
        options.workers = workers;
        options.short_runs = &told;
        const Array array(samples.data(), {LINE_COUNT, 30});
        EXPECT_EQ(filtfilt(LOW_PASS, array, array, options), DONE);
        EXPECT_EQ(told.struct_size, sizeof told);
        EXPECT_EQ(told.least_length, 8);
        EXPECT_EQ(told.left_samples, 100 * 3 + 100 * 23);
        EXPECT_EQ(told.erased_samples, 100 * 3);
        samples = before;
        options.missing = TALVORA_PROPAGATE;
        EXPECT_EQ(filtfilt(LOW_PASS, array, array, options), DONE);
        EXPECT_EQ(told.left_samples, 0);
        EXPECT_EQ(told.erased_samples, 0);
    }
}

// ---------------------------------------------------------------------------
// Layouts

// A block of 3 x 5 lines of 40 samples, filtered along its last axis.
template <class Sample>
struct Block {
    std::vector<Sample> samples = zigzag<Sample>(600);
    std::vector<Sample> expected = filtered(LOW_PASS, samples, 40);
};

TYPED_TEST(OfBothTypes, AreFilteredInPlaceAsApart) {
    Block<TypeParam> block;
    const Array in_place(block.samples.data(), {3, 5, 40});
    EXPECT_EQ(filtfilt(LOW_PASS, in_place, in_place), DONE);
    EXPECT_EQ(block.samples, block.expected);
}

// Whole lines, with gaps, without a run that is long enough, and too short ones; in one block and
// in several, and cut into parts. What is read stays.
TYPED_TEST(OfBothTypes, AreFilteredApartToTheBitsOfInPlace) {
    constexpr std::size_t COUNT = 600'000;
    for (const std::size_t line_length : {3U, 8U, 40U, 1'000U, 150'000U}) {
        for (const std::size_t gap_distance : {0U, 5U, 37U, 1'001U}) {
            for (const talvora_missing missing : {TALVORA_OMIT, TALVORA_PROPAGATE}) {
                SCOPED_TRACE(testing::Message()
                             << "lines of " << line_length << ", gaps by " << gap_distance);
                std::vector<TypeParam> samples = zigzag<TypeParam>(COUNT);
                for (std::size_t i = 2; gap_distance > 0 && i < COUNT; i += gap_distance) {
                    samples[i] = -std::numeric_limits<TypeParam>::quiet_NaN();
                }
                const std::vector<TypeParam> before = samples;
                talvora_filter_options options = default_options();
                options.missing = missing;
                const std::vector<TypeParam> apart =
                    filtered(LOW_PASS, samples, line_length, options);
                EXPECT_TRUE(same_bytes(samples, before));
                const Array in_place(samples.data(),
                                     {static_cast<std::int64_t>(COUNT / line_length),
                                      static_cast<std::int64_t>(line_length)});
                EXPECT_EQ(filtfilt(LOW_PASS, in_place, in_place, options), DONE);
                EXPECT_TRUE(same_bytes(apart, samples));
            }
        }
    }
}

// Position of a sample of the block in memory that is laid out otherwise.
std::size_t place_of(std::size_t i, const Extents& strides, std::int64_t first) {
    const std::size_t position[] = {i / 200, i / 40 % 5, i % 40};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        first += static_cast<std::int64_t>(position[axis]) * strides[axis];
    }
    return static_cast<std::size_t>(first);
}

struct Layout {
    const char* name;
    Extents strides; // in samples
    std::int64_t first;
    std::size_t room;
};

const Layout LAYOUTS[] = {
    {"row-major", {200, 40, 1}, 0, 600},
    {"column-major", {1, 3, 15}, 0, 600},
    {"backward", {-200, -40, -1}, 599, 600},
    {"every second sample", {400, 80, 2}, 1, 1200},
    {"lines across", {40, 120, 1}, 0, 600},
    {"axis in the middle", {1, 120, 3}, 0, 600},
    {"rows with room behind", {260, 52, 1}, 7, 800},
};

TYPED_TEST(OfBothTypes, MayLieInAnyLayout) {
    constexpr auto SIZE = static_cast<std::int64_t>(sizeof(TypeParam));
    constexpr TypeParam UNTOUCHED = -77;
    const Block<TypeParam> block;
    for (const Layout& in : LAYOUTS) {
        for (const Layout& out : LAYOUTS) {
            SCOPED_TRACE(std::string(in.name) + " to " + out.name);
            std::vector<TypeParam> read(in.room, UNTOUCHED);
            std::vector<TypeParam> written(out.room, UNTOUCHED);
            std::vector<TypeParam> expected(out.room, UNTOUCHED);
            for (std::size_t i = 0; i < 600; ++i) {
                read[place_of(i, in.strides, in.first)] = block.samples[i];
                expected[place_of(i, out.strides, out.first)] = block.expected[i];
            }
            const std::vector<TypeParam> before = read;
            const auto bytes = [](const Layout& layout) {
                Extents strides = layout.strides;
                for (std::int64_t& stride : strides) {
                    stride *= SIZE;
                }
                return strides;
            };
            EXPECT_EQ(filtfilt(LOW_PASS, Array(read.data() + in.first, {3, 5, 40}, bytes(in)),
                               Array(written.data() + out.first, {3, 5, 40}, bytes(out))),
                      DONE);
            EXPECT_EQ(written, expected);
            EXPECT_EQ(read, before);
        }
    }
}

TYPED_TEST(OfBothTypes, AreFilteredAlongAnyAxis) {
    const Block<TypeParam> block;
    for (const std::int32_t axis : {0, 1, -3, -2}) {
        SCOPED_TRACE(axis);
        // The same block with its last axis moved there.
        const bool is_first = axis == 0 || axis == -3;
        const Extents extents = is_first ? Extents{40, 3, 5} : Extents{3, 40, 5};
        const Extents strides = is_first ? Extents{15, 5, 1} : Extents{200, 5, 1};
        const auto place = [&](std::size_t i) {
            return is_first ? i % 40 * 15 + i / 40 : i / 200 * 200 + i % 40 * 5 + i / 40 % 5;
        };
        std::vector<TypeParam> read(600);
        std::vector<TypeParam> expected(600);
        for (std::size_t i = 0; i < 600; ++i) {
            read[place(i)] = block.samples[i];
            expected[place(i)] = block.expected[i];
        }
        std::vector<TypeParam> written(600);
        talvora_filter_options options = default_options();
        options.axis = axis;
        EXPECT_EQ(filtfilt(LOW_PASS, Array(read.data(), extents), Array(written.data(), extents),
                           options),
                  DONE);
        EXPECT_EQ(written, expected);
    }
}

TYPED_TEST(OfBothTypes, MayShareTheirPlacesInTheInput) {
    constexpr auto SIZE = static_cast<std::int64_t>(sizeof(TypeParam));
    const std::vector<TypeParam> line = zigzag<TypeParam>(40);
    const std::vector<TypeParam> expected = filtered(LOW_PASS, line, 40);
    std::vector<TypeParam> out(120);
    EXPECT_EQ(
        filtfilt(LOW_PASS, Array(line.data(), {3, 40}, {0, SIZE}), Array(out.data(), {3, 40})),
        DONE);
    for (std::size_t i = 0; i < out.size(); ++i) {
        EXPECT_EQ(out[i], expected[i % 40]) << i;
    }
}

TYPED_TEST(OfBothTypes, MayStandBetweenThoseOfTheOutput) {
    constexpr auto SIZE = static_cast<std::int64_t>(sizeof(TypeParam));
    const std::vector<TypeParam> line = zigzag<TypeParam>(40);
    std::vector<TypeParam> table(80);
    for (std::size_t i = 0; i < 40; ++i) {
        table[2 * i] = line[i];
    }
    EXPECT_EQ(filtfilt(LOW_PASS, Array(table.data(), {40}, {2 * SIZE}),
                       Array(table.data() + 1, {40}, {2 * SIZE})),
              DONE);
    const std::vector<TypeParam> expected = filtered(LOW_PASS, line, 40);
    for (std::size_t i = 0; i < 40; ++i) {
        EXPECT_EQ(table[2 * i], line[i]) << i;
        EXPECT_EQ(table[2 * i + 1], expected[i]) << i;
    }
}

// The first four columns of a table into the last four.
TYPED_TEST(OfBothTypes, MayBeOtherColumnsOfOneTable) {
    constexpr auto SIZE = static_cast<std::int64_t>(sizeof(TypeParam));
    const std::vector<TypeParam> before = zigzag<TypeParam>(320);
    std::vector<TypeParam> expected = before;
    for (std::size_t column = 0; column < 4; ++column) {
        std::vector<TypeParam> line;
        for (std::size_t row = 0; row < 40; ++row) {
            line.push_back(before[8 * row + column]);
        }
        const std::vector<TypeParam> out = filtered(LOW_PASS, line, 40);
        for (std::size_t row = 0; row < 40; ++row) {
            expected[8 * row + 4 + column] = out[row];
        }
    }
    std::vector<TypeParam> table = before;
    talvora_filter_options options = default_options();
    options.axis = 0;
    EXPECT_EQ(filtfilt(LOW_PASS, Array(table.data(), {40, 4}, {8 * SIZE, SIZE}),
                       Array(table.data() + 4, {40, 4}, {8 * SIZE, SIZE}), options),
              DONE);
    EXPECT_EQ(table, expected);
}

TEST(Filtfilt, DoesNothingToAnEmptyArray) {
    const Array nothing(static_cast<const double*>(nullptr), {3, 0, 4});
    EXPECT_EQ(filtfilt(LOW_PASS, nothing, nothing), DONE);
    const Array short_lines(static_cast<const double*>(nullptr), {3, 0});
    talvora_filter_options options = default_options();
    options.short_lines = TALVORA_REFUSE_SHORT;
    EXPECT_EQ(filtfilt(LOW_PASS, short_lines, short_lines, options).text,
              "lines have 0 samples; with 6 added at each end they need 8 at least");
}

TEST(Filtfilt, TakesDefaultsForNoOptions) {
    // The first axis, in which lines are too short.
    std::vector<double> samples = zigzag<double>(80);
    const Array in_place(samples.data(), {2, 40});
    EXPECT_EQ(talvora_filtfilt(LOW_PASS.b.data(), 3, LOW_PASS.a.data(), 3, in_place.get(),
                               in_place.get(), nullptr, nullptr, 0),
              TALVORA_OK);
    EXPECT_EQ(samples, zigzag<double>(80));
}

// ---------------------------------------------------------------------------
// Threads

TYPED_TEST(OfBothTypes, AreTheSameByAnyNumberOfWorkers) {
    std::vector<TypeParam> samples = zigzag<TypeParam>(std::size_t{300} * 1000);
    for (std::size_t i = 5000; i < samples.size(); i += 7777) {
        samples[i] = std::numeric_limits<TypeParam>::quiet_NaN();
    }
    for (const std::size_t line_length : {1000U, 100U, 100'000U}) {
        const std::vector<TypeParam> alone = filtered(LOW_PASS, samples, line_length);
        ASSERT_FALSE(alone.empty());
        for (const std::int32_t workers : {1, 2, 7, -1}) {
            talvora_filter_options options = default_options();
            options.workers = workers;
            EXPECT_TRUE(same_bytes(filtered(LOW_PASS, samples, line_length, options), alone))
                << line_length << " by " << workers;
        }
    }
}

TYPED_TEST(OfBothTypes, AreTheSameAcrossByAnyNumberOfWorkers) {
    const std::vector<TypeParam> samples = zigzag<TypeParam>(std::size_t{500} * 100);
    const auto filter_across = [&](std::int32_t workers) {
        std::vector<TypeParam> out(samples.size());
        talvora_filter_options options = default_options();
        options.axis = 0;
        options.workers = workers;
        EXPECT_EQ(filtfilt(LOW_PASS, Array(samples.data(), {500, 100}),
                           Array(out.data(), {500, 100}), options),
                  DONE);
        return out;
    };
    const std::vector<TypeParam> alone = filter_across(1);
    EXPECT_NE(alone, samples);
    EXPECT_EQ(filter_across(2), alone);
    EXPECT_EQ(filter_across(7), alone);
}

// Says stop when it is asked for the last time that is allowed.
struct Stopper {
    int questions_left;
    std::thread::id asked_by = {};
};

std::int32_t should_stop(void* context) {
    auto* const stopper = static_cast<Stopper*>(context);
    stopper->asked_by = std::this_thread::get_id();
    return stopper->questions_left-- == 0 ? 1 : 0;
}

TEST(Filtfilt, StopsWhenItIsToldTo) {
    for (const std::int32_t workers : {1, 2, 7}) {
        SCOPED_TRACE(workers);
        const std::vector<float> samples = zigzag<float>(2'000'000);
        std::vector<float> out(samples.size());
        Stopper stopper{0};
        talvora_filter_options options = default_options();
        options.workers = workers;
        options.should_stop = should_stop;
        options.context = &stopper;
        const Extents extents = {20'000, 100};
        EXPECT_EQ(
            filtfilt(LOW_PASS, Array(samples.data(), extents), Array(out.data(), extents), options),
            (Outcome{TALVORA_STOPPED, "stopped, as the caller's function said"}));
        EXPECT_EQ(stopper.questions_left, -1); // asked once
        EXPECT_EQ(stopper.asked_by, std::this_thread::get_id());
    }
}

TEST(Filtfilt, AsksBeforeEachBlock) {
    const std::vector<float> samples = zigzag<float>(4'000'000);
    std::vector<float> out(samples.size());
    Stopper stopper{1'000'000};
    talvora_filter_options options = default_options();
    options.should_stop = should_stop;
    options.context = &stopper;
    const Extents extents = {40'000, 100};
    EXPECT_EQ(
        filtfilt(LOW_PASS, Array(samples.data(), extents), Array(out.data(), extents), options),
        DONE);
    EXPECT_LT(stopper.questions_left, 1'000'000 - 10);
    EXPECT_EQ(out, filtered(LOW_PASS, samples, 100));
}

TYPED_TEST(OfBothTypes, StopsWithinALongLine) {
    const std::vector<TypeParam> samples = zigzag<TypeParam>(2'000'000);
    for (const int question : {2, 3, 9}) {
        std::vector<TypeParam> out(samples.size());
        Stopper stopper{question};
        talvora_filter_options options = default_options();
        options.should_stop = should_stop;
        options.context = &stopper;
        const Extents extents = {static_cast<std::int64_t>(samples.size())};
        EXPECT_EQ(
            filtfilt(LOW_PASS, Array(samples.data(), extents), Array(out.data(), extents), options),
            (Outcome{TALVORA_STOPPED, "stopped, as the caller's function said"}));
        EXPECT_EQ(stopper.questions_left, -1);
    }
}

// ---------------------------------------------------------------------------
// The caller's arithmetic

TEST(Filtfilt, RoundsAsEverAndLeavesTheCallersRounding) {
    const std::vector<float> samples = zigzag<float>(400);
    const std::vector<float> expected = filtered(LOW_PASS, samples, 40);
    ASSERT_EQ(std::fesetround(FE_UPWARD), 0);
    const std::vector<float> found = filtered(LOW_PASS, samples, 40);
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(found, expected);
}

} // namespace
} // namespace talvora::library_test

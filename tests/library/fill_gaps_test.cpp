#include "tests/library/calls.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace talvora::library_test {
namespace {

template <class Sample>
class GapFilling : public ::testing::Test {
  protected:
    const Sample gap = std::numeric_limits<Sample>::quiet_NaN();
    using Samples = std::vector<Sample>;

    // Lines of `samples` along the last axis.
    Samples fill(const Samples& samples, const Extents& extents, std::int64_t max_length,
                 std::int32_t axis = -1) {
        Samples out(samples.size());
        talvora_filter_options options = default_options();
        options.axis = axis;
        EXPECT_EQ(
            fill(Array(samples.data(), extents), Array(out.data(), extents), max_length, options),
            DONE);
        return out;
    }
    static Outcome fill(const Array& in, const Array& out, std::int64_t max_length,
                        const talvora_filter_options& options = default_options()) {
        return outcome_of([&](char* error, std::size_t size) {
            return talvora_fill_gaps(in.get(), out.get(), max_length, &options, error, size);
        });
    }
};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(GapFilling, Types);

TYPED_TEST(GapFilling, DrawsAStraightLine) {
    EXPECT_EQ(this->fill({1, this->gap, 3, this->gap, this->gap, this->gap, -5}, {7}, 0),
              (std::vector<TypeParam>{1, 2, 3, 1, -1, -3, -5}));
}

TYPED_TEST(GapFilling, LeavesTheEndsOfALine) {
    const std::vector<TypeParam> samples = {
        this->gap, this->gap, 3,         this->gap, 5,        this->gap, /* line */ this->gap,
        this->gap, this->gap, this->gap, this->gap, this->gap};
    std::vector<TypeParam> expected = samples;
    expected[3] = 4;
    EXPECT_TRUE(same_bytes(this->fill(samples, {2, 6}, 0), expected));
}

TYPED_TEST(GapFilling, LeavesLongGaps) {
    const std::vector<TypeParam> samples = {0, this->gap, 2,         this->gap, this->gap,
                                            5, this->gap, this->gap, this->gap, 9};
    std::vector<TypeParam> expected = samples;
    expected[1] = 1;
    EXPECT_TRUE(same_bytes(this->fill(samples, {10}, 1), expected));
    expected[3] = 3;
    expected[4] = 4;
    EXPECT_TRUE(same_bytes(this->fill(samples, {10}, 2), expected));
}

TYPED_TEST(GapFilling, GoesAlongTheAxis) {
    EXPECT_EQ(this->fill({1, 10, this->gap, this->gap, 3, 30}, {3, 2}, 0, 0),
              (std::vector<TypeParam>{1, 10, 2, 20, 3, 30}));
}

TYPED_TEST(GapFilling, LeavesWhatItReads) {
    const std::vector<TypeParam> samples = {1, this->gap, 3, this->gap};
    const std::vector<TypeParam> before = samples;
    EXPECT_TRUE(same_bytes(this->fill(samples, {4}, 0), {1, 2, 3, this->gap}));
    EXPECT_TRUE(same_bytes(samples, before));
}

TYPED_TEST(GapFilling, WorksInPlace) {
    std::vector<TypeParam> samples = {1, this->gap, 3};
    const Array in_place(samples.data(), {3});
    EXPECT_EQ(this->fill(in_place, in_place, 0), DONE);
    EXPECT_EQ(samples, (std::vector<TypeParam>{1, 2, 3}));
}

// A third is no double, and no float: positions and differences are rounded in the samples' type.
TEST(GapFillingOfDoubles, IsRoundedToDoubles) {
    std::vector<double> samples = {0, std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::quiet_NaN(), 1};
    const Array in_place(samples.data(), {4});
    ASSERT_EQ(talvora_fill_gaps(in_place.get(), in_place.get(), 0, nullptr, nullptr, 0),
              TALVORA_OK);
    EXPECT_EQ(samples[1], 1.0 / 3.0);
    EXPECT_EQ(samples[2], 2.0 / 3.0);
}

TYPED_TEST(GapFilling, IsTheSameByAnyNumberOfWorkers) {
    std::vector<TypeParam> samples = zigzag<TypeParam>(200'000);
    for (std::size_t i = 0; i < samples.size(); i += 9) {
        samples[i] = this->gap;
    }
    const std::vector<TypeParam> alone = this->fill(samples, {2000, 100}, 0);
    for (const std::int32_t workers : {2, 7}) {
        std::vector<TypeParam> out(samples.size());
        talvora_filter_options options = default_options();
        options.workers = workers;
        EXPECT_EQ(this->fill(Array(samples.data(), {2000, 100}), Array(out.data(), {2000, 100}), 0,
                             options),
                  DONE);
        EXPECT_TRUE(same_bytes(out, alone));
    }
}

TYPED_TEST(GapFilling, RefusesALengthBelowZero) {
    std::vector<TypeParam> samples = {1, this->gap, 3};
    const Array in_place(samples.data(), {3});
    EXPECT_EQ(this->fill(in_place, in_place, -1),
              (Outcome{TALVORA_INVALID_ARGUMENT,
                       "max_length is -1; allowed are numbers of samples, and 0 for no limit"}));
}

} // namespace
} // namespace talvora::library_test

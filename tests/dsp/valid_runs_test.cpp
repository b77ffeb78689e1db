#include "dsp/valid_runs.h"
#include "tests/dsp/list_valid_runs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::dsp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <class Sample>
class FindValidRuns : public testing::Test {
  protected:
    static constexpr Sample NaN = std::numeric_limits<Sample>::quiet_NaN();
    static constexpr Sample INF = std::numeric_limits<Sample>::infinity();
};

using SampleTypes = testing::Types<float, double>;
TYPED_TEST_SUITE(FindValidRuns, SampleTypes);

TYPED_TEST(FindValidRuns, KeepsEveryRunInOrderWithANegativeMinimum) {
    const std::vector<TypeParam> line = {
        TestFixture::NaN, 1, 2, TestFixture::NaN, TestFixture::NaN, 3, TestFixture::NaN, 4, 5, 6};
    EXPECT_THAT(list_valid_runs(line, -1),
                ElementsAre(ValidRun{1, 2}, ValidRun{5, 1}, ValidRun{7, 3}));
}

TYPED_TEST(FindValidRuns, KeepsARunOfExactlyTheMinimumAndDropsOneShorter) {
    const std::vector<TypeParam> line = {1, 2, 3, TestFixture::NaN, 4, 5};
    EXPECT_THAT(list_valid_runs(line, 3), ElementsAre(ValidRun{0, 3}));
    EXPECT_THAT(list_valid_runs(line, 2), ElementsAre(ValidRun{0, 3}, ValidRun{4, 2}));
}

TYPED_TEST(FindValidRuns, CountsInfinitiesAsSamples) {
    const std::vector<TypeParam> line = {TestFixture::INF, -TestFixture::INF, TestFixture::NaN,
                                         TestFixture::INF};
    EXPECT_THAT(list_valid_runs(line, 1), ElementsAre(ValidRun{0, 2}, ValidRun{3, 1}));
}

// The ends of their ranges, and some between.
template <class Word>
struct SampleBits {
    Word missing[6];
    Word valid[5];
};
template <class Sample>
constexpr SampleBits<std::uint32_t> BITS_OF = {
    {0x7F800001U, 0x7FC00000U, 0x7FFFFFFFU, 0xFF800001U, 0xFFC00000U, 0xFFFFFFFFU},
    {0x7F800000U, 0xFF800000U, 0x7F7FFFFFU, 0x80000000U, 1U}};
template <>
constexpr SampleBits<std::uint64_t> BITS_OF<double> = {
    {0x7FF0000000000001U, 0x7FF8000000000000U, 0x7FFFFFFFFFFFFFFFU, 0xFFF0000000000001U,
     0xFFF8000000000000U, 0xFFFFFFFFFFFFFFFFU},
    {0x7FF0000000000000U, 0xFFF0000000000000U, 0x7FEFFFFFFFFFFFFFU, 0x8000000000000000U, 1U}};

TYPED_TEST(FindValidRuns, TakesEveryNanAndNothingElseForMissingWhereverItStands) {
    const auto& [missing, valid] = BITS_OF<TypeParam>;
    for (std::size_t place = 0; place < 100; ++place) {
        std::vector<TypeParam> line(100, 1);
        for (const auto bits : valid) {
            line[place] = std::bit_cast<TypeParam>(bits);
            EXPECT_EQ(list_valid_runs(line, 1).size(), 1U);
        }
        for (const auto bits : missing) {
            line[place] = std::bit_cast<TypeParam>(bits);
            std::int64_t sample_count = 0;
            for (const ValidRun& run : list_valid_runs(line, 1)) {
                sample_count += run.length;
            }
            EXPECT_EQ(sample_count, 99) << "place " << place << ", bits " << bits;
        }
    }
}

TYPED_TEST(FindValidRuns, FindsNothingInAnEmptyOrMissingLine) {
    EXPECT_THAT(list_valid_runs(std::vector<TypeParam>{}, -1), IsEmpty());
    EXPECT_THAT(list_valid_runs(std::vector<TypeParam>{TestFixture::NaN, TestFixture::NaN}, -1),
                IsEmpty());
}

TYPED_TEST(FindValidRuns, GrowsPastItsFirstRoom) {
    std::vector<TypeParam> line;
    for (int run = 0; run < 1000; ++run) {
        line.insert(line.end(), {TypeParam(1), TestFixture::NaN});
    }
    const auto runs = list_valid_runs(line, 1);
    ASSERT_EQ(runs.size(), 1000U);
    EXPECT_EQ(runs.back(), (ValidRun{1998, 1}));
}

TYPED_TEST(FindValidRuns, DropsWhatTheReusedListHeld) {
    std::vector<ValidRun> runs = {{7, 7}};
    find_valid_runs(std::vector<TypeParam>{TestFixture::NaN, 1}, 1, runs);
    EXPECT_THAT(runs, ElementsAre(ValidRun{1, 1}));
}

} // namespace
} // namespace talvora::dsp

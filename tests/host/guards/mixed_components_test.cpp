#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using namespace std::string_literals;
using testing::IsEmpty;
using testing::SizeIs;

class MixedComponents : public GuardedTest {
  protected:
    std::vector<GuardFinding> find(std::int64_t axis,
                                   const char* unit = "a.apply-set-butterworth") {
        make_step(unit, {"SourceGroup: string", "Axis: integer = -1"},
                  {{"SourceGroup", ""s}, {"Axis", axis}});
        return find_mixed_components(before());
    }
};

TEST_F(MixedComponents, SpeaksOfAnAxisThatIsNotTheLast) {
    add_set("X", {100, 3}, std::vector<float>(300));
    const auto found = find(0);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "X");
    EXPECT_EQ(found[0].text,
              "of [100, 3] the filter takes 100 samples in a row as they are stored, which along "
              "dimension 0 are those of 3 components in turn");
    EXPECT_THAT(find(-1), IsEmpty());
    EXPECT_THAT(find(1), IsEmpty());
    EXPECT_THAT(find(2), IsEmpty()); // which the unit refuses
}

TEST_F(MixedComponents, IsSilentWhereOneComponentLiesBehind) {
    add_set("X", {3, 100, 1}, std::vector<float>(300));
    EXPECT_THAT(find(1), IsEmpty());
    EXPECT_THAT(find(0), SizeIs(1));
}

TEST_F(MixedComponents, SpeaksOfFillingGaps) {
    add_set("X", {3, 1, 100}, std::vector<float>(300));
    const auto found = find(0, "a.apply-set-fill-gap");
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text,
              "of [3, 1, 100] gaps are filled along dimension 0, from other components, for "
              "dimension 2 is longer");
    EXPECT_THAT(find(-1, "a.apply-set-fill-gap"), IsEmpty());
}

TEST_F(MixedComponents, IsSilentOfGapsAlongTimeWhereverItLies) {
    add_set("X", {100, 3}, std::vector<float>(300));
    EXPECT_THAT(find(0, "a.apply-set-fill-gap"), IsEmpty());
    EXPECT_THAT(find(1, "a.apply-set-fill-gap"), IsEmpty());
}

TEST_F(MixedComponents, IsSilentOfOtherUnits) {
    add_set("X", {100, 3}, std::vector<float>(300));
    EXPECT_THAT(find(0, "a.apply-set-baseline-offset"), IsEmpty());
}

} // namespace
} // namespace talvora::host

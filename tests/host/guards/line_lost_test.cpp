#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class LineLost : public GuardedTest {
  protected:
    LineLost() { make_step("a.b", {"Axis: integer = -1"}); }

    std::vector<GuardFinding> find() { return find_lost_lines(after()); }
};

TEST_F(LineLost, SpeaksOfLinesThatHadValidSamples) {
    const ObjectId set = add_set("A/X", {3, 1, 2}, {1, NaN, NaN, NaN, 5, 6});
    write(set, {NaN, NaN, NaN, NaN, NaN, NaN});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/X");
    EXPECT_EQ(found[0].text, "of 3 lines 2 had valid samples and have none any more, the first is "
                             "[0, 0, :]");
    EXPECT_EQ(found[0].remedy, "fill gaps first, or leave the set out");
    EXPECT_EQ(found[0].numbers.dump(),
              R"({"lost_lines":2,"lines":3,"missing_before":3,"missing_after":6})");
}

TEST_F(LineLost, IsSilentWhereAValidSampleIsLeft) {
    const ObjectId set = add_set("X", {2, 2}, {1, 2, NaN, NaN});
    write(set, {NaN, 2, NaN, NaN});
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(LineLost, TakesTheLinesOfTheStepsAxis) {
    make_step("a.b", {"Axis: integer = -1"}, {{"Axis", std::int64_t{0}}});
    const ObjectId set = add_set("X", {2, 3}, {1, 2, 3, 4, NaN, 6});
    write(set, {1, NaN, 3, NaN, NaN, 6});
    const auto found = find();
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text,
              "of 3 lines 1 had valid samples and have none any more, the first is [:, 1]");
}

TEST_F(LineLost, SpeaksOfLinesWithoutASampleLeft) {
    const ObjectId set = add_set("X", {2, 2}, {1, 2, 3, 4});
    observed_.resize(set, {2, 0});
    ASSERT_THAT(find(), SizeIs(1));
    observed_.resize(set, {2, 2});
    EXPECT_THAT(find(), IsEmpty());
}

TEST_F(LineLost, ComparesLinesOfOtherLengths) {
    const ObjectId set = add_set("X", {2, 4}, {1, NaN, 2, NaN, NaN, 1, NaN, 2});
    observed_.resize(set, {2, 2});
    write(set, {1, 2, NaN, NaN});
    ASSERT_THAT(find(), SizeIs(1));
}

TEST_F(LineLost, AsksForARateWhereThereIsNone) {
    const ObjectId set = add_set("X", {2}, {1, 2}, NaN);
    write(set, {NaN, NaN});
    EXPECT_EQ(find().at(0).remedy, "its SampleRate is no rate, and has to be one");
}

TEST_F(LineLost, IsSilentOfNewSets) {
    write(observed_.create_dataset(observed_.root(), "New", {2}), {NaN, NaN});
    EXPECT_THAT(find(), IsEmpty());
}

} // namespace
} // namespace talvora::host

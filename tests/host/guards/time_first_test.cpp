#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using namespace std::string_literals;
using testing::IsEmpty;
using testing::SizeIs;

class TimeFirst : public GuardedTest {
  protected:
    std::vector<GuardFinding> find(std::int64_t axis, const char* more = "ScanRecursive: boolean") {
        make_step("a.apply-set-fill-gap", {"SourceGroup: string", "Axis: integer = -1", more},
                  {{"SourceGroup", ""s}, {"Axis", axis}});
        return find_time_first_sets(before());
    }

    ObjectId add(const std::string& path, const Extents& extents) {
        return add_set(path, extents, std::vector<float>(count_samples(extents)));
    }

    void add_labelled(const std::string& path, const Extents& extents,
                      const std::vector<std::string>& labels) {
        tree_.write_attribute(add(path, extents), "Labels", TextArray{labels, {labels.size()}});
    }
};

TEST_F(TimeFirst, SpeaksOfALongerDimension) {
    add("X", {806, 1, 3});
    const auto found = find(-1);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "X");
    EXPECT_EQ(found[0].text, "of [806, 1, 3] the last dimension is taken for time, and dimension 0 "
                             "has 268 times as many samples");
    EXPECT_EQ(found[0].remedy,
              "talvora-host import walk.h5 -o FILE.h5 --time-axis 0 --rate 100 --group / turns it");
    EXPECT_THAT(find(0), IsEmpty()); // the step says which
}

TEST_F(TimeFirst, SpeaksWhereAsManyLabelsAsTheLastDimensionHasSamples) {
    add_labelled("X", {50, 1, 3}, {"X", "Y", "Z"});
    const auto found = find(-1);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text, "of [50, 1, 3] the last dimension is taken for time, and its Labels "
                             "are 3, as many as that has");
    EXPECT_EQ(found[0].numbers.dump(), R"({"shape":[50,1,3],"longest":0})");
}

TEST_F(TimeFirst, IsSilentOfLabelsThatNameComponents) {
    add_labelled("A", {3, 1, 3}, {"X", "Y", "Z"});
    add_labelled("B", {3, 1, 50}, {"X", "Y", "Z"});
    add_labelled("C", {2, 3, 1}, {"X", "Y", "Z"});
    add_labelled("D", {1, 1, 1}, {"X"});
    add_labelled("E", {3, 1, 1}, {"mean"});
    add_labelled("F", {3}, {"X", "Y", "Z"});
    EXPECT_THAT(find(-1), IsEmpty());
}

TEST_F(TimeFirst, AsksForARateWhereThereIsNone) {
    add_set("X", {806, 1, 3}, std::vector<float>(806 * 3), std::string("fast"));
    EXPECT_EQ(find(-1)[0].remedy,
              "talvora-host import walk.h5 -o FILE.h5 --time-axis 0 --rate HZ --group / turns it");
}

TEST_F(TimeFirst, IsSilentOfStepsThatTakeComponents) {
    add("X", {806, 1, 3});
    EXPECT_THAT(find(-1, "Components: list(integer)"), IsEmpty());
}

TEST_F(TimeFirst, IsSilentOfManyComponents) {
    add("A", {128, 1, 9});
    add("B", {99, 1, 1});
    add("C", {3, 1, 1});
    add("D", {1, 1, 50});
    add("E", {500, 0});
    EXPECT_THAT(find(-1), IsEmpty());
}

} // namespace
} // namespace talvora::host

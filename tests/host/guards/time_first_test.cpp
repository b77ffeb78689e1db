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

    void add(const std::string& path, const Extents& extents) {
        add_set(path, extents, std::vector<float>(count_samples(extents)));
    }
};

TEST_F(TimeFirst, SpeaksOfALongerDimension) {
    add("X", {806, 1, 3});
    const auto found = find(-1);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "X");
    EXPECT_EQ(found[0].text, "of [806, 1, 3] the last dimension is taken for time, and dimension 0 "
                             "has 268 times as many samples");
    EXPECT_THAT(find(0), IsEmpty()); // the step says which
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

#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"

namespace talvora::host {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class StaleScale : public GuardedTest {
  protected:
    StaleScale() {
        make_step("a.b", {});
        set_ = add_set("X", {1, 4}, {1, 2, 3, 4});
    }

    std::vector<GuardFinding> find(const std::vector<AttachedScale>& scales) {
        GuardedStep step = after();
        step.scales["X"] = scales;
        return find_stale_scales(step);
    }

    ObjectId set_{};
};

TEST_F(StaleScale, SpeaksOfEachScaleOfAnotherLengthAlongWhatWasResized) {
    observed_.resize(set_, {1, 2});
    const auto found = find({{0, "/Side", 5}, {1, "/Time", 4}, {1, "/Half", 2}, {1, "/Third", 3}});
    ASSERT_THAT(found, SizeIs(2));
    EXPECT_EQ(found[0].set, "X");
    EXPECT_EQ(found[0].text, "its dimension 1 was resized from 4 to 2, and the attached dimension "
                             "scale '/Time' has 4 values");
    EXPECT_EQ(found[1].numbers["scale"], "/Third");
}

TEST_F(StaleScale, IsSilentWhereNothingWasResizedOrAttached) {
    write(set_, {4, 3, 2, 1});
    EXPECT_THAT(find({{1, "/Time", 3}}), IsEmpty());
    observed_.resize(set_, {1, 2});
    EXPECT_THAT(find({}), IsEmpty());
    observed_.resize(set_, {1, 3});
    EXPECT_THAT(find({{7, "/Time", 3}}), IsEmpty());
}

TEST_F(StaleScale, SpeaksOfEachSetThatAResizedScaleIsAttachedToAndDoesNotFit) {
    observed_.resize(set_, {1, 2});
    GuardedStep step = after();
    step.scaled_sets["X"] = {{"/Imu/A", 2, 4}, {"/Imu/B", 0, 2}};
    const auto found = find_stale_scales(step);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "X");
    EXPECT_EQ(found[0].text, "it was resized and has 2 values, and dimension 2 of '/Imu/A', whose "
                             "dimension scale it is, has the length 4");
}

TEST_F(StaleScale, IsSilentOfSetsThatTheStepMade) {
    const ObjectId made = observed_.create_dataset(observed_.root(), "Y", {1, 4});
    observed_.resize(made, {1, 2});
    GuardedStep step = after();
    step.scales["Y"] = {{1, "/Time", 4}};
    EXPECT_THAT(find_stale_scales(step), IsEmpty());
}

} // namespace
} // namespace talvora::host

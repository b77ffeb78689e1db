#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class TimeBases : public GuardedTest {
  protected:
    // What the step makes of the set: as many samples of it, at this rate.
    std::vector<GuardFinding> change(const char* unit, ObjectId set, std::uint64_t count,
                                     float rate) {
        make_step(unit, {"Axis: integer = -1"});
        observed_.resize(set, {count});
        observed_.write_attribute(set, "SampleRate", rate);
        return find_changed_time_bases(after());
    }

    ObjectId add(const std::string& path, std::size_t count, float rate) {
        return add_set(path, {count}, std::vector<float>(count), rate);
    }

    // Downsampled to the rate of the group Hint.
    std::vector<GuardFinding> foresee(float rate) {
        const auto hint = tree_.find(tree_.root(), "Hint");
        tree_.write_attribute(hint ? *hint : tree_.create_group(tree_.root(), "Hint"), "SampleRate",
                              rate);
        make_step(
            "a.apply-set-downsample",
            {"SourceGroup: string", "HintGroup: string", "HintSet: string", "Axis: integer = -1"},
            {{"SourceGroup", "A"s}, {"HintGroup", "Hint"s}});
        return foresee_time_bases(before());
    }
};

TEST_F(TimeBases, SpeakWhereTheDurationChanges) {
    const auto found = change("a.resample", add("A/X", 7200, 360.0F), 2400, 100.0F);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/X");
    EXPECT_EQ(found[0].text, "7200 samples at 360 Hz, 20 s become 2400 samples at 100 Hz, 24 s");
    EXPECT_EQ(found[0].remedy, "a hint that divides 360 Hz, such as 120 Hz, keeps the time");
    EXPECT_EQ(found[0].numbers.dump(),
              R"({"samples_before":7200,"rate_before":360.0,"seconds_before":20.0,)"
              R"("samples_after":2400,"rate_after":100.0,"seconds_after":24.0})");
}

TEST_F(TimeBases, TakeAThousandthAndASampleForNoChange) {
    EXPECT_THAT(change("a.resample", add("A", 7200, 360.0F), 2400, 120.0F), IsEmpty());
    EXPECT_THAT(change("a.resample", add("B", 10, 30.0F), 3, 10.0F), IsEmpty());
    EXPECT_THAT(change("a.resample", add("C", 100'000, 100.0F), 25'000, 25.02F), IsEmpty());
    EXPECT_THAT(change("a.resample", add("D", 100'000, 100.0F), 25'000, 25.05F), SizeIs(1));
}

TEST_F(TimeBases, LetOtherUnitsCutSets) {
    EXPECT_THAT(change("a.cut", add("A", 1000, 100.0F), 10, 100.0F), IsEmpty());
    EXPECT_THAT(change("a.apply-set-downsample", add("B", 1000, 100.0F), 10, 100.0F), SizeIs(1));
}

TEST_F(TimeBases, LeaveOutRatesThatAreNone) {
    EXPECT_THAT(change("a.resample", add("A", 1000, 0.0F), 10, 100.0F), IsEmpty());
    EXPECT_THAT(change("a.resample", add("B", 1000, 100.0F), 10, NaN), IsEmpty());
}

// 400 Hz with a hint of 150 Hz: every second sample is 200 Hz.
TEST_F(TimeBases, AreForeseenFromTheRates) {
    add("A/X", 4000, 400.0F);
    const auto found = foresee(150.0F);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].text, StartsWith("4000 samples at 400 Hz, 10 s become 2000 samples at "
                                          "150 Hz, 13.3333 s"));
    EXPECT_THAT(foresee(100.0F), IsEmpty());
    EXPECT_THAT(foresee(399.9F), IsEmpty());
    EXPECT_THAT(foresee(300.0F), SizeIs(1)); // all samples are kept
    for (const float rate : {400.0F, 500.0F, 0.0F, -1.0F, NaN}) {
        EXPECT_THAT(foresee(rate), IsEmpty()) << rate;
    }
}

// Every second sample is 31.25 Hz. So few last a sample longer at 25 Hz, as they may.
TEST_F(TimeBases, AreForeseenFromTheRatesOfFewSamplesToo) {
    add("A/X", 10, 62.5F);
    const auto found = foresee(25.0F);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].text, "10 samples at 62.5 Hz, 0.16 s become 5 samples at 25 Hz, 0.2 s");
    EXPECT_THAT(foresee(31.25F), IsEmpty());
}

TEST_F(TimeBases, TellNothingOfASingleSample) {
    add("A/X", 1, 62.5F);
    EXPECT_THAT(foresee(25.0F), IsEmpty());
}

TEST_F(TimeBases, AreForeseenOfSetsThatAreScaledByTheRateOfAnother) {
    add("A/X", 4000, 400.0F);
    add("A/Y", 1000, 100.0F);
    const auto found = foresee(100.0F);
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "A/Y");
    EXPECT_THAT(found[0].text, HasSubstr("become 250 samples at 100 Hz, 2.5 s"));
    EXPECT_EQ(found[0].remedy, "sets of several rates are scaled by each other's: --set-by-set, or "
                               "set_by_set: true at a step, takes each by itself");
}

} // namespace
} // namespace talvora::host

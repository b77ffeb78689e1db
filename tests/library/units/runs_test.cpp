// Units run on trees: results by hand, and what is told of them.
#include "tests/library/units/library_test.h"
#include "tests/support/special_values.h"

#include <cfenv>
#include <cmath>

namespace talvora::library_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

class Runs : public testing::Test {
  protected:
    Plugin plugin_;
    Tree tree_;
};

TEST_F(Runs, RectifyACopyOfWhatWasBorrowed) {
    const Floats samples = {1, -2, 3, -4, NaN, -6};
    const Floats before = samples;
    const Extents extents = {2, 3};
    ASSERT_GOOD(tree_.add("Imu/Rate", make_array(samples, extents)));
    ASSERT_GOOD(tree_.set("Imu/Rate", "SampleRate", float_number(100)));
    EXPECT_FALSE(tree_.was_written("Imu/Rate"));
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=Imu/Rate"}));
    EXPECT_EQ(tree_.read("Imu/Rate"), (SetContent{{2, 3}, {1, 2, 3, 4, NaN, 6}}));
    EXPECT_TRUE(tree_.was_written("Imu/Rate"));
    EXPECT_NE(tree_.look("Imu/Rate").samples, samples.data());
    EXPECT_EQ((SetContent{extents, samples}), (SetContent{extents, before}));
}

TEST_F(Runs, LeaveSetsThatWereNotChosenBorrowed) {
    const Floats samples = {-1, 2};
    const Extents extents = {1, 2};
    ASSERT_GOOD(tree_.add("Imu/A", make_array(samples, extents)));
    tree_.add_signal("Imu/B", {1, 2}, {-3, 4});
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-opposite", {"SourceSets=Imu/B"}));
    EXPECT_EQ(tree_.look("Imu/A").samples, samples.data());
    EXPECT_EQ(tree_.read("Imu/B").samples, (Floats{3, -4}));
    EXPECT_FALSE(tree_.was_written("Imu/A"));
}

// There is no gap to fill, which the unit writes down.
TEST_F(Runs, TellOfSetsOfWhichAttributesAloneWereWritten) {
    tree_.add_signal("Imu/Rate", {1, 4}, {1, 2, 3, 4}, 50);
    tree_.add_signal("Other", {1, 4}, {1, NaN, 3, 4}, 50);
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-fill-gap", {"SourceGroup=Imu", "MaxGapLength=3"}));
    EXPECT_TRUE(tree_.was_written("Imu/Rate"));
    EXPECT_FALSE(tree_.was_written("Other"));
    EXPECT_EQ(tree_.get("Imu/Rate", "FillGapMaxGapLength"), integer(3));
    EXPECT_EQ(tree_.read("Imu/Rate").samples, (Floats{1, 2, 3, 4}));
}

TEST_F(Runs, AverageIntoAnotherGroup) {
    tree_.add_signal("Imu/Rate", {2, 1, 4}, {1, 2, 3, 4, 10, 10, 10, 30}, 50);
    ASSERT_GOOD(tree_.run(plugin_, "average-set", {"SourceGroup=Imu", "DestinationGroup=Mean"}));
    EXPECT_EQ(tree_.read("Mean/Rate"), (SetContent{{2, 1, 1}, {2.5F, 15}}));
    EXPECT_TRUE(tree_.was_written("Mean/Rate"));
    EXPECT_FALSE(tree_.was_written("Imu/Rate"));
    EXPECT_EQ(tree_.get("Mean/Rate", "MetricType"), text("Unknown"));
    EXPECT_EQ(tree_.read("Imu/Rate").samples, (Floats{1, 2, 3, 4, 10, 10, 10, 30}));
}

// Every second sample of ten.
TEST_F(Runs, ResizeWhatIsBroughtDown) {
    const Floats samples = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    const Extents extents = {1, 1, 10};
    ASSERT_GOOD(tree_.add("Imu/Rate", make_array(samples, extents)));
    ASSERT_GOOD(tree_.set("Imu/Rate", "SampleRate", number(10)));
    ASSERT_GOOD(tree_.add_group("Hint"));
    ASSERT_GOOD(tree_.set("Hint", "SampleRate", number(5)));
    ASSERT_GOOD(
        tree_.run(plugin_, "apply-set-downsample", {"SourceSets=Imu/Rate", "HintGroup=Hint"}));
    EXPECT_EQ(tree_.read("Imu/Rate"), (SetContent{{1, 1, 5}, {0, 2, 4, 6, 8}}));
    EXPECT_EQ(tree_.get("Imu/Rate", "SampleRate"), float_number(5));
    EXPECT_EQ(tree_.get("Imu/Rate", "NumSamples"), float_number(5));
    EXPECT_EQ(samples, (Floats{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

// The straight line between the neighbours of each gap.
TEST_F(Runs, FillGaps) {
    tree_.add_signal("Imu/Rate", {1, 1, 6}, {1, NaN, NaN, 4, NaN, 8}, 10);
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-fill-gap", {"SourceGroup=Imu", "MaxGapLength=1"}));
    EXPECT_EQ(tree_.read("Imu/Rate"), (SetContent{{1, 1, 6}, {1, NaN, NaN, 4, 6, 8}}));
}

// A low-pass of gain 1 at 0 Hz leaves a constant as it is, and takes away what alternates at half
// the rate.
TEST_F(Runs, FilterWithTheUnitsFilter) {
    Floats samples(400);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = 5.0F + (i % 2 == 0 ? 1.0F : -1.0F);
    }
    tree_.add_signal("Emg/A", {1, 1, 400}, samples, 1000);
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-butterworth",
                          {"SourceGroup=Emg", "CutoffFrequency=20", "Order=4"}));
    const Floats filtered = tree_.read("Emg/A").samples;
    for (std::size_t i = 100; i < 300; ++i) {
        ASSERT_NEAR(filtered[i], 5.0F, 1e-5F) << i;
    }
}

TEST_F(Runs, TakeLegacyIdentifiers) {
    tree_.add_signal("Imu/Rate", {1, 2}, {-1, 2});
    ASSERT_GOOD(tree_.run(plugin_, "signal.set-rectify", {"SourceSets=Imu/Rate"}));
    EXPECT_EQ(tree_.read("Imu/Rate").samples, (Floats{1, 2}));
}

TEST_F(Runs, TakePatternsForNamesOfSets) {
    tree_.add_signal("Imu/A", {1, 1}, {-1});
    tree_.add_signal("Imu/B", {1, 1}, {-2});
    tree_.add_signal("Emg/A", {1, 1}, {-3});
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=*/A", "SourceSets=Imu/B"}));
    EXPECT_EQ(tree_.read("Imu/A").samples, (Floats{1}));
    EXPECT_EQ(tree_.read("Imu/B").samples, (Floats{2}));
    EXPECT_EQ(tree_.read("Emg/A").samples, (Floats{3}));
    expect_unchanged(
        tree_, [&] { return tree_.run(plugin_, "apply-set-rectify", {"SourceSets=Imo/*"}); },
        TALVORA_NOT_FOUND,
        "apply-set-rectify: SourceSets=Imo/*: no data set matches; nearest: Imu");
}

TEST_F(Runs, CountWhatTheLastRunWrote) {
    tree_.add_signal("Imu/A", {1, 1}, {-1});
    tree_.add_signal("Imu/B", {1, 1}, {-2});
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=Imu/A"}));
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=Imu/B"}));
    EXPECT_FALSE(tree_.was_written("Imu/A"));
    EXPECT_TRUE(tree_.was_written("Imu/B"));
    // One that failed is no good run.
    EXPECT_EQ(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=None"}).status,
              TALVORA_NOT_FOUND);
    EXPECT_TRUE(tree_.was_written("Imu/B"));
}

TEST_F(Runs, KeepTheHistoryInTheTree) {
    tree_.add_signal("Imu/A", {1, 1}, {-1});
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-rectify", {"SourceSets=Imu/A"}));
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-opposite", {"SourceSets=Imu/A"}));
    const Attribute history = tree_.get("", "talvora_history");
    EXPECT_EQ(history.extents, Extents{2});
    const Words records = std::get<Words>(history.values);
    EXPECT_THAT(records[0], HasSubstr("\"orvane.signal.apply-set-rectify\""));
    EXPECT_THAT(records[1], HasSubstr("\"orvane.signal.apply-set-opposite\""));
    EXPECT_THAT(records[0], HasSubstr("libtalvora"));
}

// Its answers do not depend on how the caller's thread rounds.
TEST_F(Runs, RoundToTheNearestWhateverTheCallerDoes) {
    tree_.add_signal("Imu/A", {1, 1, 3}, {0.1F, 0.2F, 0.4F});
    std::fesetround(FE_UPWARD);
    const Outcome outcome =
        tree_.run(plugin_, "average-set", {"SourceGroup=Imu", "DestinationGroup=Mean"});
    EXPECT_EQ(std::fegetround(), FE_UPWARD);
    std::fesetround(FE_TONEAREST);
    ASSERT_GOOD(outcome);
    Tree other;
    other.add_signal("Imu/A", {1, 1, 3}, {0.1F, 0.2F, 0.4F});
    ASSERT_GOOD(other.run(plugin_, "average-set", {"SourceGroup=Imu", "DestinationGroup=Mean"}));
    EXPECT_EQ(tree_.read("Mean/A"), other.read("Mean/A"));
}

// ---------------------------------------------------------------------------
// What is told

TEST_F(Runs, TellWhatUnitsSay) {
    tree_.add_signal("Imu/A", {1, 1, 3}, {1, 2, 3});
    Talk talk;
    ASSERT_GOOD(tree_.run(
        plugin_, "average-set",
        {"SourceGroup=Imu", "DestinationGroup=Mean", "NamesFilter=A", "NamesFilter=Absent"},
        {.tell = Talk::tell, .context = &talk}));
    ASSERT_THAT(talk.messages, testing::SizeIs(testing::Ge(1U)));
    EXPECT_EQ(talk.messages[0].level, TALVORA_WARNING);
    EXPECT_THAT(talk.messages[0].text, HasSubstr("Absent"));
}

TEST_F(Runs, TellOfWhatIsRightAndMayNotBeMeant) {
    Floats samples(100, 1.0F);
    samples[2] = samples[90] = NaN;
    tree_.add_signal("All/X", {1, 1, 100}, samples);
    Talk talk;
    ASSERT_GOOD(tree_.run(plugin_, "apply-set-butterworth",
                          {"SourceGroup=All", "CutoffFrequency=5", "Order=4"},
                          {.tell = Talk::tell, .context = &talk}));
    EXPECT_THAT(talk.messages,
                Contains(Message{TALVORA_WARNING,
                                 "All/X: runs of fewer than 8 valid samples are too short to be "
                                 "filtered: 0 samples stayed as they were, 2 at the ends of lines "
                                 "became missing"}));
    // No command to be typed is named.
    for (const Message& message : talk.messages) {
        EXPECT_THAT(message.text, testing::Not(HasSubstr("talvora-host")));
        EXPECT_THAT(message.text, testing::Not(HasSubstr(" --")));
    }
}

TEST_F(Runs, TakeNoOptionsAtAll) {
    tree_.add_signal("Imu/A", {1, 1}, {-1});
    const char* word = "SourceSets=Imu/A";
    EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_run(plugin_, plugin_.find("apply-set-rectify"), tree_, &word, 1, nullptr,
                           error, size);
    }));
    EXPECT_EQ(tree_.read("Imu/A").samples, (Floats{1}));
}

TEST_F(Runs, LeaveOutTheSentenceWithoutABuffer) {
    const char* word = "SourceSets=None";
    EXPECT_EQ(talvora_run(plugin_, plugin_.find("apply-set-rectify"), tree_, &word, 1, nullptr,
                          nullptr, 0),
              TALVORA_NOT_FOUND);
}

} // namespace
} // namespace talvora::library_test

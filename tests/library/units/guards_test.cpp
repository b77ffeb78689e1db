// Guards of the host, on trees in memory: refused by name, and taken where they are accepted.
#include "tests/library/units/library_test.h"
#include "tests/support/special_values.h"

#include <cmath>

namespace talvora::library_test {
namespace {

using testing::Contains;
using testing::HasSubstr;

class LibraryGuards : public testing::Test {
  protected:
    // Refused, the tree as it was, until the guard is accepted, and others that speak with it.
    void expect(const std::string& unit, const Words& words, const std::string& guard,
                const std::string& part, const Words& others = {}) {
        Words accepted = {guard};
        accepted.insert(accepted.end(), others.begin(), others.end());
        std::string remedy = "; accept '" + guard + "'";
        for (const std::string& other : others) {
            remedy += ", '" + other + "'";
        }
        const auto run = [&] { return tree_.run(plugin_, unit, words); };
        expect_unchanged(tree_, run, TALVORA_GUARDED, unit + ": " + guard + ": " + part);
        expect_unchanged(tree_, run, TALVORA_GUARDED, remedy + " to have the result all the same");
        Talk talk;
        ASSERT_GOOD(tree_.run(plugin_, unit, words,
                              {.accepted = accepted, .tell = Talk::tell, .context = &talk}));
        EXPECT_THAT(talk.messages, Contains(testing::AllOf(
                                       testing::Field(&Message::level, TALVORA_WARNING),
                                       testing::Field(&Message::text,
                                                      HasSubstr(guard + " (accepted): " + part)))));
        const Words records = std::get<Words>(tree_.get("", "talvora_history").values);
        EXPECT_THAT(records.back(), HasSubstr("\"name\":\"" + guard + "\""));
    }

    void add_hint(double rate) {
        ASSERT_GOOD(tree_.add_group("Hint"));
        ASSERT_GOOD(tree_.set("Hint", "SampleRate", number(rate)));
    }

    Plugin plugin_;
    Tree tree_;
};

TEST_F(LibraryGuards, RefuseAFilterThatCannotBeHad) {
    tree_.add_signal("All/X", {1, 1, 50}, Floats(50, 1.0F));
    expect("apply-set-butterworth", {"SourceGroup=All", "CutoffFrequency=60", "Order=4"},
           "unusable-filter",
           "at 100 Hz the edge at 60 Hz is not below half the rate, 50 Hz; the unit takes it as it "
           "comes");
}

TEST_F(LibraryGuards, RefuseSetsWithTimeFirst) {
    tree_.add_signal("All/X", {2000, 1, 3}, Floats(6000, -1.0F));
    expect("apply-set-baseline-offset", {"SourceGroup=All"}, "time-first", "All/X: ");
}

TEST_F(LibraryGuards, RefuseAFilterAcrossComponents) {
    Floats samples(300);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(i % 7);
    }
    tree_.add_signal("All/X", {100, 3}, samples);
    expect("apply-set-butterworth", {"SourceGroup=All", "CutoffFrequency=5", "Order=4", "Axis=0"},
           "mixed-components",
           "All/X: of [100, 3] the filter takes 100 samples in a row as they are stored");
}

TEST_F(LibraryGuards, RefuseToLeaveASetThatWasChosen) {
    tree_.add_signal("All/X", {1, 1, 3}, {1, NaN, 3});
    const Floats samples = {1, NaN, 3};
    const Extents extents = {1, 1, 3};
    ASSERT_GOOD(tree_.add("All/Z", make_array(samples, extents))); // without a rate
    expect("apply-set-fill-gap", {"SourceGroup=All", "HintMaxGapLength=0.5"}, "passed-over",
           "All/Z: was chosen, and the unit neither read nor wrote any of its 3 samples",
           {"unit-error"});
}

TEST_F(LibraryGuards, RefuseSamplesAtARateThatIsNotTheirs) {
    tree_.add_signal("All/X", {1, 1, 4000}, Floats(4000, 1.0F), 400);
    add_hint(150);
    expect("apply-set-downsample", {"SourceGroup=All", "HintGroup=Hint"}, "time-base",
           "All/X: 4000 samples at 400 Hz, 10 s become 2000 samples at 150 Hz, 13.3333 s");
}

TEST_F(LibraryGuards, RefuseALineThatIsLost) {
    Floats samples(1000, 1.0F);
    std::fill_n(samples.begin() + 1, 8, NaN);
    tree_.add_signal("All/X", {1, 1, 1000}, samples);
    expect("apply-set-baseline-offset", {"SourceGroup=All"}, "line-lost",
           "All/X: of 1 line 1 had valid samples and have none any more, the first is [0, 0, :]");
}

TEST_F(LibraryGuards, RefuseSamplesThatBecameInfinite) {
    tree_.add_signal("All/X", {1, 1, 3}, {-3e38F, -3e38F, 3e38F});
    expect("apply-set-baseline-offset", {"SourceGroup=All"}, "not-finite",
           "All/X: infinite samples: 1 of 3, none before");
}

// Two million samples of single precision have no digit left for what differs.
TEST_F(LibraryGuards, RefuseAMeanThatIsOutsideItsSamples) {
    Floats samples(2'000'000, 100000.0F);
    for (std::size_t i = 1; i < samples.size(); i += 2) {
        samples[i] = 100001.0F;
    }
    tree_.add_signal("All/X", {1, 1, 2'000'000}, samples);
    expect("average-set", {"SourceGroup=All", "DestinationGroup=Mean"}, "mean-off", "Mean/X: ");
}

// Floats are 2 apart from 2^24 on: all of these become 2^24.
TEST_F(LibraryGuards, RefuseDoublesThatFloatsCannotTellApart) {
    std::vector<double> samples(100);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = 16777216.0 + 0.01 * static_cast<double>(i);
    }
    const Extents extents = {1, 1, 100};
    ASSERT_GOOD(tree_.add("All/X", make_array(samples, extents)));
    ASSERT_GOOD(tree_.set("All/X", "SampleRate", number(100)));
    expect("apply-set-opposite", {"SourceGroup=All"}, "narrowing",
           "All/X: is of 64-bit floats between 16777216 and 16777217; as 32-bit floats they change "
           "by up to 0.99, 1.0e+00 of that range");
    // What was accepted is no matter for the next run: it takes floats.
    EXPECT_GOOD(tree_.run(plugin_, "apply-set-opposite", {"SourceGroup=All"}));
}

TEST_F(LibraryGuards, RefuseAStepThatDidNothing) {
    tree_.add_signal("All/X", {1, 1, 3}, {1, 2, 3});
    expect("apply-set-opposite", {"SourceGroup=All", "Axis=0"}, "nothing-done",
           "no sample changed, and nothing was made: 0 data sets read, none written");
}

TEST_F(LibraryGuards, RefuseWhatAUnitToldAnErrorOf) {
    tree_.add_signal("All/X", {1, 1, 3}, {1, 2, 3});
    tree_.add_signal("All/Y", {1, 1, 3}, {1, 2, 3});
    ASSERT_GOOD(tree_.add_group("Maxima/X"));
    expect("extract-set-maximum-extrema", {"SourceGroup=All", "DestinationGroup=Maxima"},
           "unit-error", "the unit told of 1 error and returned success; the first: Could not ");
    EXPECT_EQ(tree_.read("Maxima/Y").samples, (Floats{3}));
}

TEST_F(LibraryGuards, TakeSeveralNames) {
    tree_.add_signal("All/X", {1, 1, 3}, {1, 2, 3});
    EXPECT_GOOD(tree_.run(plugin_, "apply-set-opposite", {"SourceGroup=All", "Axis=0"},
                          {.accepted = {"unusable-filter", "nothing-done", "nothing-done"}}));
}

} // namespace
} // namespace talvora::library_test

// Runs that fail: a status, a sentence, and a tree as it was.
#include "tests/library/units/library_test.h"

namespace talvora::library_test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FailedRuns : public testing::Test {
  protected:
    void SetUp() override {
        tree_.add_signal("Signals/X", {1, 1, 5}, {1, -2, 3, -4, 5});
        tree_.add_signal("Signals/Y", {1, 1, 5}, {1, -2, 3, -4, 5});
        ASSERT_GOOD(tree_.set("Signals/X", "Unit", text("g")));
        ASSERT_GOOD(tree_.set("", "Subject", integer(7)));
    }

    void expect(const Plugin& plugin, const std::string& unit, const Words& words,
                talvora_status status, const std::string& part) {
        SCOPED_TRACE(unit);
        expect_unchanged(
            tree_, [&] { return tree_.run(plugin, unit, words); }, status, part);
    }

    Tree tree_;
};

// Units that change a sample and get into trouble then.
TEST_F(FailedRuns, LeaveTheTreeAsItWas) {
    const Plugin plugin(TROUBLE_PLUGIN);
    expect(plugin, "fail", {}, TALVORA_UNIT_FAILED, "fail: 7 is too many");
    expect(plugin, "fail-silently", {}, TALVORA_UNIT_FAILED,
           "fail-silently: failed without a "
           "message");
    expect(plugin, "complain", {}, TALVORA_GUARDED,
           "complain: unit-error: the unit told of 1 error and returned success; the first: 7 is "
           "too many; accept 'unit-error' to have the result all the same");
    expect(plugin, "throw", {}, TALVORA_PLUGIN_ERROR, "'run' broke off: out of luck");
    expect(plugin, "run-out-of-memory", {}, TALVORA_OUT_OF_MEMORY, "not enough memory");
    expect(plugin, "read-outside", {}, TALVORA_UNIT_FAILED,
           "read-outside: refused: read_samples: 'Signals/X' has the extents [1, 1, 5]: ");
    expect(plugin, "read-everywhere", {}, TALVORA_UNIT_FAILED, "read-everywhere: refused: ");
    // What went well before is kept.
    ASSERT_GOOD(tree_.run(plugin, "succeed", {}));
    EXPECT_EQ(tree_.read("Signals/X").samples, (Floats{99, -2, 3, -4, 5}));
    expect(plugin, "fail", {}, TALVORA_UNIT_FAILED, "");
}

TEST_F(FailedRuns, SayWhatTheUnitMissesAndWhatIsThere) {
    const Plugin plugin;
    expect(plugin, "apply-set-rectify", {"SourceGroup=Signal"}, TALVORA_NOT_FOUND,
           "; nearest: Signals");
    expect(plugin, "apply-set-rectify", {"SourceSets=Signals/Z"}, TALVORA_NOT_FOUND,
           "; nearest: Signals/X");
    expect(plugin, "apply-set-rectify", {"SourceSets=Signals"}, TALVORA_NOT_FOUND,
           "apply-set-rectify: SourceSets=Signals: that is a group, and a data set is wanted");
}

TEST_F(FailedRuns, SayWhichRatesLack) {
    const Plugin plugin;
    ASSERT_GOOD(tree_.set("Signals/Y", "SampleRate", number(0)));
    Talk talk;
    const Outcome outcome = tree_.run(plugin, "apply-set-butterworth",
                                      {"SourceGroup=Signals", "CutoffFrequency=5", "Order=4"},
                                      {.tell = Talk::tell, .context = &talk});
    EXPECT_EQ(outcome.status, TALVORA_UNIT_FAILED);
    EXPECT_THAT(outcome.error, HasSubstr("without a SampleRate above 0: Signals/Y (0 Hz)"));
    EXPECT_THAT(outcome.error, testing::Not(HasSubstr("talvora-host")));
    EXPECT_THAT(talk.messages, Contains(testing::Field(&Message::level, TALVORA_ERROR)));
}

TEST_F(FailedRuns, RefuseParametersBeforeTheUnitIsRun) {
    const Plugin plugin;
    const char* unit = "apply-set-butterworth";
    expect(plugin, unit, {"SourceGroup=Signals", "CutoffFrequency=5", "Ordr=4"}, TALVORA_NOT_FOUND,
           "apply-set-butterworth: unknown parameter 'Ordr' (known: ");
    expect(plugin, unit, {"SourceGroup=Signals", "CutoffFrequency=five", "Order=4"},
           TALVORA_INVALID_ARGUMENT,
           "parameter 'CutoffFrequency' cannot be 'five' (allowed: a number such as 0.5 or 1e3)");
    expect(plugin, unit, {"SourceGroup=Signals", "CutoffFrequency=5", "Order=4", "Order=5"},
           TALVORA_INVALID_ARGUMENT, "parameter 'Order' is given twice and is no list");
    expect(plugin, unit,
           {"SourceGroup=Signals", "CutoffFrequency=5", "Order=4", "Bandform=LowPass"},
           TALVORA_INVALID_ARGUMENT, "Bandform");
    expect(plugin, unit, {"Signals"}, TALVORA_INVALID_ARGUMENT,
           "apply-set-butterworth: 'Signals' is no parameter, which is Key=Value");
    expect(plugin, "average-set", {"SourceGroup=Signals"}, TALVORA_INVALID_ARGUMENT,
           "average-set: parameter 'DestinationGroup' is missing");
    expect(plugin, "average-set", {"SourceGroup=Signals", "DestinationGroup=\xFF"},
           TALVORA_INVALID_ARGUMENT, "parameters is no UTF-8");
}

TEST_F(FailedRuns, RefuseUnitsGuardsAndPointersThatThereAreNot) {
    const Plugin plugin;
    expect_unchanged(
        tree_, [&] { return tree_.run_at(plugin, 99, {}); }, TALVORA_NOT_FOUND,
        "there is no unit 99");
    expect_unchanged(
        tree_,
        [&] {
            return tree_.run(plugin, "apply-set-rectify", {"SourceGroup=Signals"},
                             {.accepted = {"nothing-dun"}});
        },
        TALVORA_NOT_FOUND, "no guard 'nothing-dun' (known: unusable-filter, ");
    expect_unchanged(
        tree_,
        [&] {
            return run_call([&](char* error, std::size_t size) {
                return talvora_run(plugin, 0, tree_, nullptr, 1, nullptr, error, size);
            });
        },
        TALVORA_INVALID_ARGUMENT, "parameters is NULL");
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_run(plugin, 0, nullptr, nullptr, 0, nullptr, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "tree is NULL"}));
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_run(nullptr, 0, tree_, nullptr, 0, nullptr, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "plugin is NULL"}));
}

// The mean of a group whose results are there: the unit fails half-way, after its first set.
TEST_F(FailedRuns, TakeBackWhatAUnitMadeBeforeItFailed) {
    const Plugin plugin;
    tree_.add_signal("Mean/Y", {1, 1, 1}, {0});
    expect(plugin, "average-set", {"SourceGroup=Signals", "DestinationGroup=Mean"},
           TALVORA_UNIT_FAILED, "average-set: ");
}

// What it holds cannot be gone on with.
TEST_F(FailedRuns, LeaveAHistoryAloneThatIsNone) {
    const Plugin plugin;
    ASSERT_GOOD(tree_.set("", "talvora_history", integer(3)));
    expect(plugin, "apply-set-rectify", {"SourceGroup=Signals"}, TALVORA_INVALID_ARGUMENT,
           "the attribute 'talvora_history' is no list of texts");
}

} // namespace
} // namespace talvora::library_test

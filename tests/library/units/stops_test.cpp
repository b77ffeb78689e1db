// Runs that their caller stops.
#include "tests/library/units/library_test.h"

namespace talvora::library_test {
namespace {

// Stops when it was asked so often.
struct Patience {
    int left = 0;
    int asked = 0;

    static std::int32_t ask(void* context) {
        auto& patience = *static_cast<Patience*>(context);
        ++patience.asked;
        return patience.left-- <= 0 ? 1 : 0;
    }
};

class Stops : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* path : {"Imu/A", "Imu/B", "Imu/C"}) {
            tree_.add_signal(path, {3, 1, 100}, Floats(300, -1.5F));
        }
    }

    Plugin plugin_;
    Tree tree_;
};

// At each of the times that it is asked, the first and the last among them.
TEST_F(Stops, LeaveTheTreeAsItWas) {
    for (const auto& [unit, words] : std::map<std::string, Words>{
             {"apply-set-rectify", {"SourceGroup=Imu"}},
             {"apply-set-butterworth", {"SourceGroup=Imu", "CutoffFrequency=5", "Order=4"}},
             {"average-set", {"SourceGroup=Imu", "DestinationGroup=Mean"}}}) {
        SCOPED_TRACE(unit);
        const TreeContent before = tree_.content();
        int left = 0;
        for (;; ++left) {
            Patience patience{left};
            const Outcome outcome = tree_.run(plugin_, unit, words,
                                              {.should_stop = Patience::ask, .context = &patience});
            if (outcome.status == TALVORA_OK) {
                break;
            }
            EXPECT_EQ(outcome, (Outcome{TALVORA_STOPPED, unit + ": stopped by the caller"}));
            EXPECT_EQ(patience.asked, left + 1); // it is not asked again
            ASSERT_TRUE(tree_.content() == before) << left;
        }
        EXPECT_GE(left, 3);
    }
}

TEST_F(Stops, AreNoFaultOfTheUnitsToBeToldOf) {
    struct Both {
        Patience patience;
        Talk talk;
    } both{{1}, {}};
    const RunChoices choices{
        .should_stop =
            [](void* context) { return Patience::ask(&static_cast<Both*>(context)->patience); },
        .tell =
            [](void* context, int32_t level, const char* text) {
                Talk::tell(&static_cast<Both*>(context)->talk, level, text);
            },
        .context = &both};
    EXPECT_EQ(tree_.run(plugin_, "apply-set-rectify", {"SourceGroup=Imu"}, choices).status,
              TALVORA_STOPPED);
    EXPECT_THAT(both.talk.messages, testing::IsEmpty());
}

} // namespace
} // namespace talvora::library_test

#include "host/runs/work_meter.h"
#include "host/tree/memory_tree.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace talvora::host {
namespace {

class Meter : public testing::Test {
  protected:
    Meter() : set_(tree_.create_dataset(tree_.root(), "A", {2, 1, 50})) {}

    // Long enough apart to be told of.
    void request(bool writes, std::uint64_t count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(110));
        meter_.add({.set = set_, .writes = writes, .count = count}, tree_);
    }

    void expect(std::uint64_t count, double share) const {
        EXPECT_EQ(count_, count);
        EXPECT_DOUBLE_EQ(share_, share);
    }

    MemoryTree tree_;
    ObjectId set_;
    std::uint64_t count_ = 0;
    double share_ = 0.0;
    TellSamples tell_ = [this](const SampleCount& samples) {
        count_ += samples.count;
        share_ = samples.share;
    };
    WorkMeter meter_{2, tell_};
};

TEST_F(Meter, CountsASampleOnceThatIsReadAndWritten) {
    meter_.begin_step(200);
    request(false, 50);
    expect(50, 0.125);
    request(false, 50);
    expect(100, 0.25);
    request(true, 100);
    expect(100, 0.5);
}

TEST_F(Meter, CountsSamplesOfEachStep) {
    meter_.begin_step(100);
    request(false, 100);
    meter_.begin_step(200);
    request(true, 100);
    expect(200, 0.75);
}

TEST_F(Meter, TellsOfQuickStepsInTheEnd) {
    meter_.begin_step(100);
    meter_.add({.set = set_, .writes = false, .count = 100}, tree_);
    meter_.begin_step(100);
    meter_.add({.set = set_, .writes = false, .count = 100}, tree_);
    meter_.finish();
    expect(200, 1.0);
}

TEST_F(Meter, GoesNoFurtherThanTheStepWhateverItReads) {
    meter_.begin_step(100);
    request(false, 100);
    request(false, 100);
    expect(100, 0.5);
}

TEST_F(Meter, StandsWhereNothingIsKnownOfAStep) {
    meter_.begin_step(0);
    request(false, 10);
    expect(10, 0.0);
    meter_.begin_step(0);
    request(false, 10);
    expect(20, 0.5);
}

} // namespace
} // namespace talvora::host

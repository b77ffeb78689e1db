#include "host/tree/memory_tree.h"
#include "host/tree/signal_set.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

using testing::ElementsAre;

class SignalSets : public testing::Test {
  protected:
    ObjectId make(const Extents& extents, const std::vector<float>& samples) {
        const ObjectId set = tree_.create_dataset(tree_.root(), "Imu/X", extents);
        const Extents starts(extents.size(), 0);
        tree_.write(set, {.starts = starts, .counts = extents}, samples);
        return set;
    }
    SignalSet read() { return read_signal_set(tree_, "Imu/X"); }

    MemoryTree tree_;
};

TEST_F(SignalSets, AreLinesAlongTheLastDimension) {
    make({2, 1, 3}, {1, 2, 3, 4, 5, 6});
    const SignalSet set = read();
    EXPECT_EQ(set.line_count(), 2U);
    EXPECT_THAT(set.line(1), ElementsAre(4, 5, 6));
    EXPECT_EQ(set.line_indices(0), "[0]");
    EXPECT_EQ(set.line_indices(1), "[1]");
}

TEST_F(SignalSets, NumberEachDimensionOfSeveralIndices) {
    make({2, 1, 3, 1}, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(read().line_indices(4), "[1][1]");
}

TEST_F(SignalSets, OfOneLineNeedNoIndex) {
    make({3}, {1, 2, 3});
    EXPECT_EQ(read().line_indices(0), "");
    EXPECT_EQ(read().line_count(), 1U);
}

TEST_F(SignalSets, NameLinesByLabelsAndByIndicesWhereThereAreNone) {
    const ObjectId set = make({2, 2, 1}, {1, 2, 3, 4});
    tree_.write_attribute(set, "Labels", TextArray{{"Foot left", "Foot right"}, {2}});
    tree_.write_attribute(set, "Unit", TextArray{{"m", "s"}, {2}});
    EXPECT_EQ(read().line_label(1), "right");
    EXPECT_EQ(read().line_indices(1), "[0]");
    EXPECT_EQ(read().line_label(2), "left");
    EXPECT_EQ(read().line_indices(2), "[1]");
    EXPECT_EQ(read().line_unit(1), "m"); // of the component
    EXPECT_EQ(read().line_unit(2), "s");
}

TEST_F(SignalSets, WithoutSamplesHaveNoLines) {
    make({2, 0}, {});
    EXPECT_EQ(read().line_count(), 0U);
}

TEST_F(SignalSets, TakeTheirTimesFromAttributesOfAnyKindOfNumber) {
    const ObjectId set = make({1}, {1});
    tree_.write_attribute(set, "SampleRate", std::int64_t{50});
    tree_.write_attribute(set, "StartTime", 0.1F);
    EXPECT_EQ(read().sample_rate, 50.0);
    EXPECT_EQ(read().start_time, 0.1);
    EXPECT_DOUBLE_EQ(read().time_of(5), 0.2);
}

TEST_F(SignalSets, HaveNoRateWhereItIsNone) {
    const ObjectId set = make({1}, {1});
    EXPECT_EQ(read().sample_rate, std::nullopt);
    EXPECT_EQ(read().time_of(7), 7.0);
    for (const float rate : {0.0F, -1.0F, std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()}) {
        tree_.write_attribute(set, "SampleRate", rate);
        EXPECT_EQ(read().sample_rate, std::nullopt) << rate;
    }
    tree_.write_attribute(set, "SampleRate", std::string("fast"));
    EXPECT_EQ(read().sample_rate, std::nullopt);
}

} // namespace
} // namespace talvora::host

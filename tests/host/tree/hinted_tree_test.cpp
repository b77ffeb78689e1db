#include "host/tree/hinted_tree.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HintedTrees : public testing::Test {
  protected:
    HintedTrees() { behind_.create_group(behind_.root(), "Imu"); }

    ObjectId hint() { return tree_.find(tree_.root(), RATE_HINT_NAME).value(); }

    MemoryTree behind_;
    HintedTree tree_{behind_, 25.0F};
};

TEST_F(HintedTrees, HoldAGroupWithARate) {
    EXPECT_EQ(tree_.kind(hint()), ObjectKind::Group);
    EXPECT_EQ(tree_.path(hint()), RATE_HINT_NAME);
    EXPECT_EQ(tree_.read_attribute(hint(), "SampleRate"), AttributeValue(25.0F));
    EXPECT_EQ(tree_.read_attribute(hint(), "NumSamples"), std::nullopt);
    EXPECT_THAT(tree_.list_attributes(hint()), ElementsAre("SampleRate"));
    EXPECT_THAT(tree_.list_groups(hint()), IsEmpty());
    EXPECT_THAT(tree_.list_datasets(hint()), IsEmpty());
    EXPECT_THAT(tree_.list_others(hint()), IsEmpty());
    EXPECT_EQ(tree_.find(hint(), "Imu"), std::nullopt);
    EXPECT_EQ(tree_.find(hint(), ""), hint());
}

TEST_F(HintedTrees, ListItNowhere) {
    EXPECT_THAT(tree_.list_groups(tree_.root()), ElementsAre("Imu"));
    EXPECT_EQ(behind_.find(behind_.root(), RATE_HINT_NAME), std::nullopt);
    EXPECT_EQ(tree_.find(tree_.find(tree_.root(), "Imu").value(), RATE_HINT_NAME), std::nullopt);
}

TEST_F(HintedTrees, LeaveItAsItIs) {
    EXPECT_THROW(tree_.write_attribute(hint(), "SampleRate", 5.0F), TreeError);
    EXPECT_THROW(tree_.create_group(hint(), "A"), TreeError);
    EXPECT_THROW(tree_.create_dataset(hint(), "A", {1}), TreeError);
}

TEST_F(HintedTrees, PassOnWhatElseIsAsked) {
    const ObjectId set = tree_.create_dataset(tree_.root(), "Imu/Rate", {2});
    tree_.write_attribute(set, "SampleRate", 100.0F);
    EXPECT_EQ(behind_.read_attribute(set, "SampleRate"), AttributeValue(100.0F));
    EXPECT_EQ(tree_.find(tree_.root(), "Imu/Rate"), set);
    EXPECT_THAT(tree_.list_datasets(tree_.find(tree_.root(), "Imu").value()), ElementsAre("Rate"));
}

} // namespace
} // namespace talvora::host

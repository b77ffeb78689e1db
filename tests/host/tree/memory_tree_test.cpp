// Samples that a tree in memory shares: with copies of it, and with who lent them.
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;

class SharingTree : public testing::Test {
  protected:
    SharingTree()
        : set_(tree_.add_dataset(tree_.root(), "Imu/Rate", {2, 3}, SharedSamples::borrow(lent_))) {}

    static void write(MemoryTree& tree, ObjectId set, const Extents& starts, const Extents& counts,
                      const std::vector<float>& samples) {
        tree.write(set, {starts, counts}, samples);
    }

    const std::vector<float> lent_ = {1, 2, 3, 4, 5, 6};
    MemoryTree tree_;
    ObjectId set_;
};

TEST_F(SharingTree, TakesNoCopyOfWhatIsLent) {
    EXPECT_EQ(tree_.samples(set_).data(), lent_.data());
    std::vector<float> read(2);
    const Extents starts = {1, 1};
    const Extents counts = {1, 2};
    tree_.read(set_, {starts, counts}, read);
    EXPECT_THAT(read, ElementsAre(5, 6));
    EXPECT_EQ(tree_.samples(set_).data(), lent_.data());
}

TEST_F(SharingTree, WritesIntoACopyOfWhatIsLent) {
    write(tree_, set_, {0, 1}, {1, 1}, {-2});
    EXPECT_THAT(tree_.samples(set_), ElementsAre(1, -2, 3, 4, 5, 6));
    write(tree_, set_, {1, 0}, {1, 1}, {-4});
    EXPECT_THAT(tree_.samples(set_), ElementsAre(1, -2, 3, -4, 5, 6));
    EXPECT_THAT(lent_, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(SharingTree, OverwritesWhatIsLentAsAWhole) {
    write(tree_, set_, {0, 0}, {2, 3}, {6, 5, 4, 3, 2, 1});
    EXPECT_THAT(tree_.samples(set_), ElementsAre(6, 5, 4, 3, 2, 1));
    EXPECT_THAT(lent_, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(SharingTree, ResizesACopyOfWhatIsLent) {
    tree_.resize(set_, {2, 2});
    EXPECT_THAT(tree_.samples(set_), ElementsAre(1, 2, 4, 5));
    EXPECT_THAT(lent_, ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(SharingTree, SharesSamplesWithCopiesUntilOneIsChanged) {
    write(tree_, set_, {0, 0}, {1, 1}, {-1}); // its own from here on
    const auto copy = tree_.copy();
    EXPECT_EQ(copy->samples(set_).data(), tree_.samples(set_).data());
    write(*copy, set_, {1, 2}, {1, 1}, {-6});
    EXPECT_THAT(copy->samples(set_), ElementsAre(-1, 2, 3, 4, 5, -6));
    EXPECT_THAT(tree_.samples(set_), ElementsAre(-1, 2, 3, 4, 5, 6));
    const float* const place = tree_.samples(set_).data();
    write(tree_, set_, {0, 1}, {1, 1}, {-2}); // nobody shares it any more
    EXPECT_THAT(copy->samples(set_), ElementsAre(-1, 2, 3, 4, 5, -6));
    EXPECT_EQ(tree_.samples(set_).data(), place);
}

TEST_F(SharingTree, CopiesHaveObjectsAndAttributesOfTheirOwn) {
    tree_.write_attribute(set_, "Unit", std::string("g"));
    const auto copy = tree_.copy();
    copy->write_attribute(set_, "Unit", std::string("m"));
    copy->create_group(copy->root(), "New");
    EXPECT_EQ(tree_.read_attribute(set_, "Unit"), AttributeValue(std::string("g")));
    EXPECT_FALSE(tree_.find(tree_.root(), "New"));
    EXPECT_EQ(copy->find(copy->root(), "Imu/Rate"), set_);
    EXPECT_EQ(copy->path(set_), "Imu/Rate");
}

TEST_F(SharingTree, RefusesSamplesThatAreNotAsManyAsTheExtentsHold) {
    EXPECT_THROW(tree_.add_dataset(tree_.root(), "X", {7}, SharedSamples::borrow(lent_)),
                 TreeError);
    EXPECT_FALSE(tree_.find(tree_.root(), "X"));
}

} // namespace
} // namespace talvora::host

#include "host/tree/line_names.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

class SetWithNames : public testing::Test {
  protected:
    LineNames read(const Extents& extents, const Texts& labels,
                   const std::optional<AttributeValue>& unit = std::nullopt) {
        MemoryTree tree;
        const ObjectId set = tree.create_dataset(tree.root(), "Imu/Rate", extents);
        tree.write_attribute(set, "Labels", TextArray{labels, {labels.size()}});
        if (unit) {
            tree.write_attribute(set, "Unit", *unit);
        }
        return read_line_names(tree, set);
    }
};

TEST_F(SetWithNames, HasALabelForEachComponent) {
    const LineNames names = read({3, 1, 10}, {"Gyro X", "Gyro Y", "Gyro Z"});
    EXPECT_THAT(names.labels.texts, ElementsAre("Gyro X", "Gyro Y", "Gyro Z"));
    EXPECT_THAT(names.short_labels.texts, ElementsAre("X", "Y", "Z"));
    EXPECT_EQ(names.labels.dimension, 0U);
    EXPECT_EQ(text_of_line(names.labels, {3, 1, 10}, 2), "Gyro Z");
    EXPECT_EQ(text_of_line(names.units, {3, 1, 10}, 2), "");
}

// As average-set-2 makes them.
TEST_F(SetWithNames, HasALabelForEachColumnWhereThereAreAsMany) {
    const LineNames names = read({3, 2, 1}, {"left", "right"});
    EXPECT_EQ(names.labels.dimension, 1U);
    EXPECT_EQ(text_of_line(names.labels, {3, 2, 1}, 0), "left");
    EXPECT_EQ(text_of_line(names.labels, {3, 2, 1}, 5), "right");
    EXPECT_EQ(read({3, 3, 1}, {"a", "b", "c"}).labels.dimension, 1U);
    EXPECT_EQ(read({3, 3}, {"a", "b", "c"}).labels.dimension, 0U);
    EXPECT_EQ(text_of_line(read({3, 1, 1}, {"all"}).labels, {3, 1, 1}, 2), "all");
}

TEST_F(SetWithNames, HasNoLabelsThatDoNotFit) {
    EXPECT_THAT(read({2, 1, 10}, {"X", "Y", "Z"}).labels.texts, IsEmpty());
    EXPECT_THAT(read({1, 1, 3}, {"X", "Y", "Z"}).labels.texts, IsEmpty());
    EXPECT_THAT(read({3, 2, 10}, {"all"}).labels.texts, IsEmpty());
    EXPECT_THAT(read({3}, {"X", "Y", "Z"}).labels.texts, IsEmpty());
    EXPECT_THAT(read({0, 1, 3}, {}).labels.texts, IsEmpty());
}

TEST_F(SetWithNames, HasNoLabelsThatAreAlikeOrEmpty) {
    EXPECT_THAT(read({2, 5}, {"X", "X"}).labels.texts, IsEmpty());
    EXPECT_THAT(read({2, 5}, {"X", ""}).labels.texts, IsEmpty());
}

TEST_F(SetWithNames, HasTheLabelOfTheOnlyLineForAComponent) {
    EXPECT_EQ(read({1, 1, 5}, {"Gyro X"}).labels.dimension, 0U);
    EXPECT_EQ(read({3, 1, 5}, {"Gyro X"}).labels.dimension, 1U);
}

TEST_F(SetWithNames, HasNoShortLabelWhereItsOwnNameSaysIt) {
    EXPECT_THAT(read({1, 1, 5}, {"Rate"}).short_labels.texts, IsEmpty());
    EXPECT_THAT(read({1, 1, 5}, {"Ra"}).short_labels.texts, IsEmpty());
    EXPECT_THAT(read({1, 1, 5}, {"Gyro X"}).short_labels.texts, ElementsAre("Gyro X"));
    EXPECT_THAT(read({5}, {"Gyro X"}).short_labels.texts, ElementsAre("Gyro X"));
}

TEST_F(SetWithNames, HasOneUnitOrOneForEachComponent) {
    EXPECT_EQ(text_of_line(read({3, 5}, {}, "g").units, {3, 5}, 2), "g");
    EXPECT_EQ(text_of_line(read({3, 5}, {}, TextArray{{"g"}, {1}}).units, {3, 5}, 2), "g");
    const LineNames several = read({2, 1, 5}, {}, TextArray{{"g", ""}, {2}});
    EXPECT_EQ(text_of_line(several.units, {2, 1, 5}, 0), "g");
    EXPECT_EQ(text_of_line(several.units, {2, 1, 5}, 1), "");
    EXPECT_THAT(read({3, 5}, {}, TextArray{{"g", "m"}, {2}}).units.texts, IsEmpty());
    EXPECT_EQ(read({2, 2, 5}, {}, TextArray{{"g", "m"}, {2}}).units.dimension, 0U);
    EXPECT_EQ(read({3, 2, 5}, {}, TextArray{{"g", "m"}, {2}}).units.dimension, 1U);
}

TEST_F(SetWithNames, TakesNothingButTexts) {
    MemoryTree tree;
    const ObjectId set = tree.create_dataset(tree.root(), "X", {2, 5});
    tree.write_attribute(set, "Labels", NumberArray{{1, 2}, {2}});
    tree.write_attribute(set, "Unit", 1.0F);
    EXPECT_THAT(read_line_names(tree, set).labels.texts, IsEmpty());
    EXPECT_THAT(read_line_names(tree, set).units.texts, IsEmpty());
}

TEST(WithoutSharedWords, TakesWholeWordsAndLeavesEachTextOne) {
    EXPECT_THAT(without_shared_words({"Left_Foot_X", "Left_Foot_Y"}), ElementsAre("X", "Y"));
    EXPECT_THAT(without_shared_words({"Acc.X", "Acc.XY"}), ElementsAre("X", "XY"));
    EXPECT_THAT(without_shared_words({"Front", "Fret"}), ElementsAre("Front", "Fret"));
    EXPECT_THAT(without_shared_words({"A B", "A B C"}), ElementsAre("B", "B C"));
    EXPECT_THAT(without_shared_words({"A ", "A 1"}), ElementsAre("A ", "A 1"));
    EXPECT_THAT(without_shared_words({"A B X", "A B Y", "A C"}), ElementsAre("B X", "B Y", "C"));
    EXPECT_THAT(without_shared_words({"A X"}), ElementsAre("A X"));
    EXPECT_THAT(without_shared_words({}), IsEmpty());
}

TEST(NameWithUnit, SaysTheUnitOnce) {
    EXPECT_EQ(name_with_unit("Force", "N"), "Force (N)");
    EXPECT_EQ(name_with_unit("Force", ""), "Force");
    EXPECT_EQ(name_with_unit("Force (N)", "N"), "Force (N)");
    EXPECT_EQ(name_with_unit("Force [N]", "N"), "Force (N)");
    EXPECT_EQ(name_with_unit("Rate (deg_s)", "deg/s"), "Rate (deg/s)");
    EXPECT_EQ(name_with_unit("Rate (rad_s)", "deg/s"), "Rate (rad_s) (deg/s)");
    EXPECT_EQ(name_with_unit("(N)", "N"), "(N)");
    EXPECT_EQ(name_with_unit("", "N"), "(N)");
}

} // namespace
} // namespace talvora::host

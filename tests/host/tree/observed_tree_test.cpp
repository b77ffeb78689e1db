#include "host/tree/history_attribute.h"
#include "host/tree/memory_tree.h"
#include "host/tree/observed_tree.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class ObservedTrees : public testing::Test {
  protected:
    ObjectId add_set(const char* path, const std::vector<float>& samples, float rate) {
        const ObjectId set = inner_.create_dataset(inner_.root(), path, {samples.size()});
        write_whole(inner_, set, samples);
        inner_.write_attribute(set, "SampleRate", rate);
        return set;
    }
    static void write_whole(DataTree& tree, ObjectId set, const std::vector<float>& samples) {
        const Extents starts = {0};
        const Extents counts = {samples.size()};
        tree.write(set, {starts, counts}, samples);
    }
    static std::vector<float> read_whole(DataTree& tree, ObjectId set) {
        const Extents starts = {0};
        const Extents counts = tree.extents(set);
        std::vector<float> samples(counts[0]);
        tree.read(set, {starts, counts}, samples);
        return samples;
    }
    static void write_one(DataTree& tree, ObjectId set, std::uint64_t at, float sample) {
        const Extents starts = {at};
        const Extents counts = {1};
        tree.write(set, {starts, counts}, std::span(&sample, 1));
    }
    SetObservation only_set() {
        const StepObservations step = tree_.finish_step();
        EXPECT_EQ(step.sets.size(), 1U);
        return step.sets.empty() ? SetObservation{} : step.sets.front();
    }

    MemoryTree inner_;
    ObservedTree tree_{inner_};
};

TEST_F(ObservedTrees, NotesNothingWhereNoSamplesWereAskedFor) {
    const ObjectId set = add_set("X", {1, 2}, 10);
    tree_.extents(set);
    tree_.read_attribute(set, "SampleRate");
    const StepObservations step = tree_.finish_step();
    EXPECT_THAT(step.sets, IsEmpty());
    EXPECT_THAT(step.attributes, IsEmpty());
}

TEST_F(ObservedTrees, KnowsARateThatIsAWholeNumber) {
    const ObjectId set = add_set("X", {1, 2}, 10);
    tree_.write_attribute(set, "SampleRate", std::int64_t{20});
    write_whole(tree_, set, {3, 4});
    EXPECT_EQ(only_set().after.sample_rate, 20.0);
}

TEST_F(ObservedTrees, CountsBeforeAndAfterAChangeOfTheWholeSet) {
    const ObjectId set = add_set("X", {1, NaN, NaN, 4, NaN}, 10);
    std::vector<float> samples = read_whole(tree_, set);
    samples[1] = samples[2] = 3;
    write_whole(tree_, set, samples);
    const SetObservation seen = only_set();
    EXPECT_EQ(seen.path, "X");
    EXPECT_TRUE(seen.read);
    EXPECT_TRUE(seen.written);
    ASSERT_TRUE(seen.before.has_value());
    EXPECT_EQ(seen.before->missing_count, 3U);
    EXPECT_EQ(seen.before->gap_count, 2U);
    EXPECT_EQ(seen.before->sample_rate, 10.0);
    EXPECT_EQ(seen.after.missing_count, 1U);
    EXPECT_EQ(seen.after.gap_count, 1U);
    EXPECT_EQ(seen.filled_gap_count, 1U);
}

TEST_F(ObservedTrees, CountsBeforeAndAfterChangesInParts) {
    const ObjectId set = add_set("X", {1, NaN, NaN, 4, NaN}, 10);
    write_one(tree_, set, 1, 2);
    write_one(tree_, set, 2, 3);
    write_one(tree_, set, 3, NaN);
    const SetObservation seen = only_set();
    EXPECT_FALSE(seen.read);
    EXPECT_EQ(seen.before->missing_count, 3U);
    EXPECT_EQ(seen.after.missing_count, 2U);
    EXPECT_EQ(seen.filled_gap_count, 1U);
}

TEST_F(ObservedTrees, TellsASetThatWasMade) {
    const ObjectId set = tree_.create_dataset(tree_.root(), "Mean", {3});
    write_whole(tree_, set, {1, NaN, 3});
    const SetObservation seen = only_set();
    EXPECT_FALSE(seen.before.has_value());
    EXPECT_THAT(seen.after.extents, ElementsAre(3));
    EXPECT_EQ(seen.after.missing_count, 1U);
    EXPECT_EQ(seen.filled_gap_count, std::nullopt);
}

TEST_F(ObservedTrees, NotesShapesAndRatesOfASetThatShrinks) {
    const ObjectId set = add_set("X", {1, 2, NaN, 4}, 100);
    tree_.write_attribute(set, "SampleRate", 50.0F);
    tree_.resize(set, {2});
    write_whole(tree_, set, {1, NaN});
    const SetObservation seen = only_set();
    EXPECT_THAT(seen.before->extents, ElementsAre(4));
    EXPECT_EQ(seen.before->sample_rate, 100.0);
    EXPECT_EQ(seen.before->missing_count, 1U);
    EXPECT_THAT(seen.after.extents, ElementsAre(2));
    EXPECT_EQ(seen.after.sample_rate, 50.0);
    EXPECT_EQ(seen.after.missing_count, 1U);
    EXPECT_EQ(seen.filled_gap_count, std::nullopt);
}

TEST_F(ObservedTrees, BeginsEachStepWithWhatTheOneBeforeLeft) {
    const ObjectId set = add_set("X", {NaN, 2, NaN}, 10);
    write_one(tree_, set, 0, 1);
    tree_.finish_step();
    write_one(tree_, set, 2, 3);
    const SetObservation seen = only_set();
    EXPECT_EQ(seen.before->missing_count, 1U);
    EXPECT_EQ(seen.after.missing_count, 0U);
    EXPECT_THAT(tree_.finish_step().sets, IsEmpty());
}

TEST_F(ObservedTrees, NotesTheAttributesThatWereWritten) {
    const ObjectId set = add_set("X", {1}, 10);
    tree_.write_attribute(set, "Filter", std::string("low pass"));
    tree_.write_attribute(set, "Order", std::int64_t{4});
    EXPECT_THAT(tree_.finish_step().attributes,
                ElementsAre(Pair("X", UnorderedElementsAre("Filter", "Order"))));
}

TEST_F(ObservedTrees, ReportsRatesThatAreNoNumberAsNone) {
    const ObjectId set = add_set("X", {1}, 10);
    inner_.write_attribute(set, "SampleRate", std::string("fast"));
    read_whole(tree_, set);
    EXPECT_EQ(only_set().after.sample_rate, std::nullopt);
}

TEST_F(ObservedTrees, KeepsWhatNetcdfNumbersFromUnits) {
    const ObjectId set = inner_.create_dataset(inner_.root(), "Numbered", {2});
    inner_.write_attribute(set, "_Netcdf4Coordinates", IntegerArray{{2, 1}, {2}});
    inner_.write_attribute(set, "_Netcdf4Dimid", std::int64_t{2});
    inner_.write_attribute(set, "_Netcdf4", std::int64_t{2});
    EXPECT_THAT(tree_.list_attributes(set), ElementsAre("_Netcdf4"));
    EXPECT_EQ(tree_.read_attribute(set, "_Netcdf4Dimid"), std::nullopt);
    EXPECT_THROW(tree_.write_attribute(set, "_Netcdf4Coordinates", 1.0F), TreeError);
}

TEST_F(ObservedTrees, KeepsWhatMakesADimensionScaleFromUnits) {
    const ObjectId scale = inner_.create_dataset(inner_.root(), "Scale", {2});
    inner_.write_attribute(scale, "CLASS", std::string("DIMENSION_SCALE"));
    inner_.write_attribute(scale, "NAME", std::string("time"));
    inner_.write_attribute(scale, "REFERENCE_LIST", std::int64_t{0});
    inner_.write_attribute(scale, "DIMENSION_LIST", std::int64_t{0});
    EXPECT_THAT(tree_.list_attributes(scale), IsEmpty());
    EXPECT_EQ(tree_.read_attribute(scale, "NAME"), std::nullopt);

    const ObjectId image = inner_.create_dataset(inner_.root(), "Image", {2});
    inner_.write_attribute(image, "CLASS", std::string("IMAGE"));
    inner_.write_attribute(image, "NAME", std::string("yours"));
    EXPECT_THAT(tree_.list_attributes(image), ElementsAre("CLASS", "NAME"));
    inner_.write_attribute(image, "CLASS", std::int64_t{1});
    EXPECT_THAT(tree_.list_attributes(image), ElementsAre("CLASS", "NAME"));
}

TEST_F(ObservedTrees, KeepsTheHistoryFromUnits) {
    const ObjectId root = inner_.root();
    inner_.write_attribute(root, HISTORY_ATTRIBUTE, std::string("mine"));
    inner_.write_attribute(root, "talvora_history_2", std::string("mine"));
    inner_.write_attribute(root, "talvora_history_of_mine", std::string("yours"));
    inner_.write_attribute(root, "Site", std::string("yours"));
    EXPECT_THAT(tree_.list_attributes(root), ElementsAre("Site", "talvora_history_of_mine"));
    EXPECT_EQ(tree_.read_attribute(root, "talvora_history_2"), std::nullopt);
    EXPECT_EQ(tree_.read_attribute(root, HISTORY_ATTRIBUTE), std::nullopt);
    EXPECT_THROW(tree_.write_attribute(root, HISTORY_ATTRIBUTE, 1.0F), TreeError);
    EXPECT_EQ(inner_.read_attribute(root, HISTORY_ATTRIBUTE), AttributeValue(std::string("mine")));
}

} // namespace
} // namespace talvora::host

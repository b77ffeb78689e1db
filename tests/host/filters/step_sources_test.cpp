#include "host/filters/rate_changes.h"
#include "host/filters/step_filters.h"
#include "host/filters/step_sources.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

using testing::ThrowsMessage;

ObjectId add_set(DataTree& tree, const std::string& path, const AttributeValue& rate) {
    const ObjectId set = tree.create_dataset(tree.root(), path, {8});
    tree.write_attribute(set, "SampleRate", rate);
    return set;
}

TEST(UsableRate, IsFiniteAndAboveZero) {
    MemoryTree tree;
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "float", 0.5F)), 0.5F);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "double", 100.0)), 100.0F);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "integer", std::int64_t{50})), 50.0F);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "one", NumberArray{{25.0}, {1}})), 25.0F);
    EXPECT_EQ(find_usable_rate(tree, tree.create_dataset(tree.root(), "none", {8})), std::nullopt);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "zero", 0.0F)), std::nullopt);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "negative", -1.0F)), std::nullopt);
    EXPECT_EQ(find_usable_rate(tree, add_set(tree, "text", std::string("100"))), std::nullopt);
    for (const float other :
         {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(find_usable_rate(tree, add_set(tree, std::to_string(other), other)),
                  std::nullopt);
    }
}

// A tree whose file holds attributes that cannot be read.
class DamagedTree final : public MemoryTree {
  public:
    std::optional<AttributeValue> read_attribute(ObjectId, const std::string&) override {
        throw StorageError(StorageError::Access::Reading, "damaged");
    }
};

// A tree whose file holds groups that cannot be read.
class UnlistedTree final : public MemoryTree {
  public:
    std::optional<ObjectId> find(ObjectId, std::string_view) override {
        throw StorageError(StorageError::Access::Reading, "damaged");
    }
};

// A step of a unit on the set "X".
class StepOnX {
  public:
    explicit StepOnX(const std::string& unit, const ParameterValues::Given& more = {}) {
        unit_.name = unit;
        ParameterValues::Given given = more;
        given.emplace("SourceSets", std::vector<std::string>{"X"});
        std::vector<ParameterSignature> signatures;
        for (const char* text :
             {"SourceSets: list(string)", "HintSet: string", "CutoffFrequency: number",
              "Order: integer", "Bandform: string = \"ZeroLagLowPass\"", "BandWidth: number = 0.0",
              "Axis: integer = -1"}) {
            signatures.push_back(parse_signature(text, false));
        }
        step_ = {"step", &unit_, {signatures, given}};
    }
    StepOnX(const StepOnX&) = delete;
    StepOnX& operator=(const StepOnX&) = delete;

    Step& step() { return step_; }

  private:
    Unit unit_;
    Step step_;
};

TEST(DamagedRates, OfFilteredSetsAreTold) {
    DamagedTree tree;
    tree.create_dataset(tree.root(), "X", {8});
    StepOnX filter("maker.signal.apply-set-butterworth",
                   {{"CutoffFrequency", 20.0}, {"Order", std::int64_t{4}}});
    EXPECT_THAT([&] { find_step_filters(filter.step(), tree); },
                ThrowsMessage<StorageError>("damaged"));
}

TEST(DamagedRates, OfHintsAndOfReducedSetsAreTold) {
    DamagedTree tree;
    tree.create_dataset(tree.root(), "X", {8});
    tree.create_dataset(tree.root(), "hint", {8});
    StepOnX by_hint("maker.signal.apply-set-downsample", {{"HintSet", std::string("hint")}});
    EXPECT_THAT([&] { find_rate_changes(by_hint.step(), tree); },
                ThrowsMessage<StorageError>("damaged"));
    StepOnX by_rate("maker.signal.apply-set-downsample");
    by_rate.step().aims.to_rate = 25.0;
    EXPECT_THAT([&] { find_rate_changes(by_rate.step(), tree); },
                ThrowsMessage<StorageError>("damaged"));
}

TEST(DamagedGroups, AreToldWhenSetsAreLookedUp) {
    UnlistedTree tree;
    StepOnX filter("maker.signal.apply-set-butterworth");
    EXPECT_THAT([&] { find_source_sets(filter.step().values, tree); },
                ThrowsMessage<StorageError>("damaged"));
}

} // namespace
} // namespace talvora::host

// What every tree promises (host/tree/data_tree.h), asked of each of them.
#include "host/hdf5/hdf5_tree.h"
#include "host/tree/cached_tree.h"
#include "host/tree/memory_tree.h"
#include "host/tree/observed_tree.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <numeric>

namespace talvora::host {

namespace {

// A tree and what it stands on.
struct Place {
    virtual ~Place() = default;
    virtual DataTree& tree() = 0;
};

struct InMemory : Place {
    MemoryTree memory;
    DataTree& tree() override { return memory; }
};

struct InFile : Place {
    TemporaryFolder folder;
    Hdf5Tree file{folder / "tree.h5", Hdf5Access::Create};
    DataTree& tree() override { return file; }
};

struct Observed : InFile {
    ObservedTree observed{file};
    DataTree& tree() override { return observed; }
};

// Room for the sets of most cases; the others go through.
struct InFileCached : InFile {
    CachedTree cached{file, 256};
    DataTree& tree() override { return cached; }
};

struct PlaceKind {
    const char* name;
    std::unique_ptr<Place> (*make)();
};

template <typename Kind>
std::unique_ptr<Place> make_place() {
    return std::make_unique<Kind>();
}

class DataTrees : public testing::TestWithParam<PlaceKind> {
  public:
    ObjectId make_set(const char* path, const Extents& extents) {
        return tree_.create_dataset(tree_.root(), path, extents);
    }
    // 0, 1, 2, ... in row-major order.
    ObjectId make_counting_set(const char* path, const Extents& extents) {
        const ObjectId set = make_set(path, extents);
        std::vector<float> samples(product(extents));
        std::iota(samples.begin(), samples.end(), 0.0F);
        write(set, Extents(extents.size(), 0), extents, samples);
        return set;
    }
    void write(ObjectId set, const Extents& starts, const Extents& counts,
               const std::vector<float>& samples) {
        tree_.write(set, {starts, counts}, samples);
    }
    std::vector<float> read(ObjectId set, const Extents& starts, const Extents& counts) {
        std::vector<float> samples(product(counts), -1.0F);
        tree_.read(set, {starts, counts}, samples);
        return samples;
    }
    std::vector<float> read_all(ObjectId set) {
        const Extents extents = tree_.extents(set);
        return read(set, Extents(extents.size(), 0), extents);
    }
    static std::size_t product(const Extents& counts) {
        return std::accumulate(counts.begin(), counts.end(), std::size_t{1}, std::multiplies());
    }
    void round_trip(const AttributeValue& value) {
        const ObjectId set = make_set("set", {1});
        tree_.write_attribute(set, "name", value);
        EXPECT_EQ(tree_.read_attribute(set, "name"), value);
        tree_.write_attribute(tree_.root(), "name", value);
        EXPECT_EQ(tree_.read_attribute(tree_.root(), "name"), value);
    }

    std::unique_ptr<Place> place_ = GetParam().make();
    DataTree& tree_ = place_->tree();
};

INSTANTIATE_TEST_SUITE_P(Places, DataTrees,
                         testing::Values(PlaceKind{"Memory", make_place<InMemory>},
                                         PlaceKind{"Hdf5", make_place<InFile>},
                                         PlaceKind{"Observed", make_place<Observed>},
                                         PlaceKind{"CachedHdf5", make_place<InFileCached>}),
                         [](const auto& tried) { return tried.param.name; });

// ---------------------------------------------------------------------------
// Objects and paths

TEST_P(DataTrees, HasAnEmptyRootGroup) {
    DataTree& tree = tree_;
    EXPECT_NE(tree.root(), ObjectId{});
    EXPECT_EQ(tree.kind(tree.root()), ObjectKind::Group);
    EXPECT_EQ(tree.path(tree.root()), "");
    EXPECT_TRUE(tree.list_groups(tree.root()).empty());
    EXPECT_TRUE(tree.list_datasets(tree.root()).empty());
    EXPECT_TRUE(tree.list_others(tree.root()).empty());
}

TEST_P(DataTrees, MakesTheGroupsOnTheWay) {
    DataTree& tree = tree_;
    const ObjectId set = make_set("a/b/set", {2});
    const auto group = tree.find(tree.root(), "a/b");
    ASSERT_TRUE(group.has_value());
    EXPECT_EQ(tree.kind(*group), ObjectKind::Group);
    EXPECT_EQ(tree.kind(set), ObjectKind::DataSet);
    EXPECT_EQ(tree.path(set), "a/b/set");
    const ObjectId inner = tree.create_group(*group, "c/d");
    EXPECT_EQ(tree.path(inner), "a/b/c/d");
}

TEST_P(DataTrees, GivesTheSameIdForTheSameObject) {
    DataTree& tree = tree_;
    const ObjectId set = make_set("a/set", {2});
    const auto group = tree.find(tree.root(), "a");
    ASSERT_TRUE(group.has_value());
    EXPECT_EQ(tree.find(tree.root(), "a/set"), set);
    EXPECT_EQ(tree.find(*group, "set"), set);
    EXPECT_EQ(tree.find(tree.root(), "a"), group);
    EXPECT_NE(*group, set);
}

TEST_P(DataTrees, IgnoresSuperfluousSlashes) {
    DataTree& tree = tree_;
    const ObjectId set = make_set("/a//set/", {2});
    EXPECT_EQ(tree.path(set), "a/set");
    EXPECT_EQ(tree.find(tree.root(), "//a/set"), set);
    EXPECT_EQ(tree.find(tree.root(), ""), tree.root());
    EXPECT_EQ(tree.find(tree.root(), "/"), tree.root());
}

TEST_P(DataTrees, FindsNothingWhereNothingIs) {
    DataTree& tree = tree_;
    make_set("set", {2});
    EXPECT_FALSE(tree.find(tree.root(), "nothing").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "nothing/at/all").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "set/below").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "Set").has_value());
    using std::string_view_literals::operator""sv;
    for (const auto no_name : {"."sv, "./set"sv, "set/."sv, ".."sv, "\0"sv}) {
        EXPECT_FALSE(tree.find(tree.root(), no_name).has_value()) << no_name;
    }
}

TEST_P(DataTrees, ListsByName) {
    DataTree& tree = tree_;
    for (const char* name : {"b", "a", "C", "z/x"}) {
        tree.create_group(tree.root(), name);
    }
    for (const char* name : {"y", "B", "z/inner"}) {
        make_set(name, {1});
    }
    EXPECT_EQ(tree.list_groups(tree.root()), (std::vector<std::string>{"C", "a", "b", "z"}));
    EXPECT_EQ(tree.list_datasets(tree.root()), (std::vector<std::string>{"B", "y"}));
}

TEST_P(DataTrees, KeepsNamesBeyondAscii) {
    DataTree& tree = tree_;
    const ObjectId set = make_set("Gänge/Fuß 1", {1});
    EXPECT_EQ(tree.path(set), "Gänge/Fuß 1");
    EXPECT_EQ(tree.list_groups(tree.root()), std::vector<std::string>{"Gänge"});
}

TEST_P(DataTrees, RefusesTakenNamesAndChangesNothing) {
    DataTree& tree = tree_;
    const ObjectId set = make_counting_set("a/set", {3});
    EXPECT_THROW(make_set("a/set", {5}), TreeError);
    EXPECT_THROW(make_set("a", {5}), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "a"), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "a/set"), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), ""), TreeError);
    EXPECT_EQ(tree.list_groups(tree.root()), std::vector<std::string>{"a"});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 2}));
}

TEST_P(DataTrees, MakesNoGroupsForARefusedSet) {
    DataTree& tree = tree_;
    make_set("set", {3});
    EXPECT_THROW(make_set("new/set", Extents(33, 1)), TreeError);
    EXPECT_THROW(make_set("new/set", {1ULL << 40, 1ULL << 40}), TreeError);
    EXPECT_THROW(make_set("new/./set", {1}), TreeError);
    EXPECT_THROW(make_set("set/below", {1}), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "set/below"), TreeError);
    EXPECT_TRUE(tree.list_groups(tree.root()).empty());
}

TEST_P(DataTrees, RefusesForeignIds) {
    DataTree& tree = tree_;
    const std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    for (const ObjectId id : {ObjectId{0}, ObjectId{99}, ObjectId{last}}) {
        EXPECT_THROW(tree.kind(id), TreeError);
        EXPECT_THROW(tree.path(id), TreeError);
        EXPECT_THROW(tree.find(id, "a"), TreeError);
        EXPECT_THROW(tree.extents(id), TreeError);
        EXPECT_THROW(tree.list_groups(id), TreeError);
        EXPECT_THROW(tree.list_attributes(id), TreeError);
        EXPECT_THROW(tree.create_group(id, "a"), TreeError);
    }
}

TEST_P(DataTrees, RefusesGroupsAsSetsAndSetsAsGroups) {
    DataTree& tree = tree_;
    const ObjectId set = make_set("set", {1});
    EXPECT_THROW(tree.extents(tree.root()), TreeError);
    EXPECT_THROW(tree.resize(tree.root(), {1}), TreeError);
    EXPECT_THROW(read(tree.root(), {0}, {1}), TreeError);
    EXPECT_THROW(write(tree.root(), {0}, {1}, {1}), TreeError);
    EXPECT_THROW(tree.list_datasets(set), TreeError);
    EXPECT_THROW(tree.list_others(set), TreeError);
    EXPECT_THROW(tree.find(set, ""), TreeError);
    EXPECT_THROW(tree.create_dataset(set, "a", {1}), TreeError);
}

// ---------------------------------------------------------------------------
// Samples

TEST_P(DataTrees, FillsANewSetWithZeros) {
    const ObjectId set = make_set("set", {2, 3});
    EXPECT_EQ(tree_.extents(set), (Extents{2, 3}));
    EXPECT_EQ(read_all(set), std::vector<float>(6, 0.0F));
}

TEST_P(DataTrees, KeepsEveryBitOfASample) {
    const ObjectId set = make_set("set", {4});
    const std::vector<std::uint32_t> bits{0xFFC00000, 0x7F800000, 0x80000000, 0x00000001};
    std::vector<float> samples(4);
    std::memcpy(samples.data(), bits.data(), 16);
    write(set, {0}, {4}, samples);
    const std::vector<float> back = read_all(set);
    EXPECT_EQ(std::memcmp(back.data(), bits.data(), 16), 0);
}

// Every hyperslab of a set of small extents, against the samples picked one by one.
void check_all_slabs(DataTrees& test, ObjectId set, const Extents& extents) {
    const std::size_t rank = extents.size();
    Extents starts(rank, 0);
    Extents counts(rank, 0);
    const auto expected = [&] {
        std::vector<float> samples;
        for (std::size_t n = 0; n < test.product(counts); ++n) {
            std::uint64_t rest = n;
            std::uint64_t offset = 0;
            std::uint64_t stride = 1;
            for (std::size_t d = rank; d-- > 0;) {
                offset += (starts[d] + rest % counts[d]) * stride;
                rest /= counts[d];
                stride *= extents[d];
            }
            samples.push_back(static_cast<float>(offset));
        }
        return samples;
    };
    const std::function<void(std::size_t)> choose = [&](std::size_t d) {
        if (d == rank) {
            ASSERT_EQ(test.read(set, starts, counts), expected());
            return;
        }
        for (starts[d] = 0; starts[d] <= extents[d]; ++starts[d]) {
            for (counts[d] = 0; counts[d] <= extents[d] - starts[d]; ++counts[d]) {
                choose(d + 1);
            }
        }
    };
    choose(0);
}

TEST_P(DataTrees, ReadsEveryHyperslabOfRanksOneToFour) {
    for (const Extents& extents : std::vector<Extents>{{5}, {3, 4}, {2, 3, 2}, {2, 1, 2, 2}}) {
        check_all_slabs(*this, make_counting_set(std::to_string(extents.size()).c_str(), extents),
                        extents);
    }
}

TEST_P(DataTrees, WritesALineAlongEachAxisAndNothingElse) {
    const Extents extents{2, 3, 4};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const ObjectId set = make_set(("axis " + std::to_string(axis)).c_str(), extents);
        Extents starts{1, 1, 1};
        Extents counts{1, 1, 1};
        starts[axis] = 0;
        counts[axis] = extents[axis];
        write(set, starts, counts, std::vector<float>(extents[axis], 7.0F));
        EXPECT_EQ(read(set, starts, counts), std::vector<float>(extents[axis], 7.0F));
        const std::vector<float> all = read_all(set);
        EXPECT_EQ(std::count(all.begin(), all.end(), 7.0F), static_cast<long>(extents[axis]));
    }
}

TEST_P(DataTrees, WritesABlockInItsPlace) {
    const ObjectId set = make_set("set", {3, 4});
    write(set, {1, 1}, {2, 2}, {1, 2, 3, 4});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 0, 0, 0, 0, 1, 2, 0, 0, 3, 4, 0}));
}

TEST_P(DataTrees, RefusesWhatIsBeyondTheExtents) {
    const ObjectId set = make_counting_set("set", {2, 3});
    const std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    EXPECT_THROW(read(set, {0, 1}, {2, 3}), TreeError);
    EXPECT_THROW(read(set, {3, 0}, {0, 3}), TreeError);
    EXPECT_THROW(read(set, {last, 0}, {1, 1}), TreeError);
    EXPECT_THROW(write(set, {1, 0}, {2, 1}, {8, 8}), TreeError);
    EXPECT_THROW(write(set, {1, last}, {1, 2}, {8, 8}), TreeError);
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TEST_P(DataTrees, RefusesSlabsOfAnotherRankOrSize) {
    const ObjectId set = make_counting_set("set", {2, 3});
    EXPECT_THROW(read(set, {0}, {2}), TreeError);
    EXPECT_THROW(read(set, {0, 0, 0}, {1, 1, 1}), TreeError);
    EXPECT_THROW(write(set, {0, 0}, {2, 2}, {9, 9, 9}), TreeError);
    EXPECT_THROW(write(set, {0, 0}, {1, 2}, {9, 9, 9}), TreeError);
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TEST_P(DataTrees, HoldsSetsWithoutSamples) {
    const ObjectId set = make_set("set", {3, 0});
    EXPECT_EQ(tree_.extents(set), (Extents{3, 0}));
    EXPECT_TRUE(read_all(set).empty());
    write(set, {0, 0}, {3, 0}, {});
}

// ---------------------------------------------------------------------------
// Resizing

TEST_P(DataTrees, KeepsTheSamplesInsideWhenASetShrinks) {
    const ObjectId set = make_counting_set("set", {2, 4});
    tree_.resize(set, {2, 2});
    EXPECT_EQ(tree_.extents(set), (Extents{2, 2}));
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 4, 5}));
}

TEST_P(DataTrees, FillsNewRoomWithZeros) {
    const ObjectId set = make_counting_set("set", {2, 2});
    tree_.resize(set, {3, 3});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 0, 2, 3, 0, 0, 0, 0}));
}

TEST_P(DataTrees, ForgetsTheSamplesThatWereCutOff) {
    const ObjectId set = make_counting_set("set", {2, 4});
    tree_.resize(set, {2, 1});
    tree_.resize(set, {2, 4});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 0, 0, 0, 4, 0, 0, 0}));
}

TEST_P(DataTrees, ResizesEachAxisOfRankFour) {
    const ObjectId set = make_counting_set("set", {2, 2, 2, 2});
    tree_.resize(set, {1, 2, 1, 2});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 4, 5}));
    tree_.resize(set, {1, 2, 2, 1});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 0, 4, 0}));
}

TEST_P(DataTrees, ResizesToNothingAndBack) {
    const ObjectId set = make_counting_set("set", {3});
    tree_.resize(set, {0});
    EXPECT_TRUE(read_all(set).empty());
    tree_.resize(set, {2});
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 0}));
}

TEST_P(DataTrees, GrowsFromOneSampleToManyAndKeepsIdAndAttributes) {
    const ObjectId set = make_counting_set("group/set", {2});
    tree_.write_attribute(set, "Unit", std::string("m/s"));
    tree_.resize(set, {100'000});
    EXPECT_EQ(tree_.find(tree_.root(), "group/set"), set);
    EXPECT_EQ(read(set, {0}, {3}), (std::vector<float>{0, 1, 0}));
    EXPECT_EQ(read(set, {99'999}, {1}), std::vector<float>{0});
    EXPECT_EQ(tree_.read_attribute(set, "Unit"), AttributeValue("m/s"));
    EXPECT_EQ(tree_.list_datasets(*tree_.find(tree_.root(), "group")),
              std::vector<std::string>{"set"});
}

TEST_P(DataTrees, RefusesAnotherRankAndKeepsTheSet) {
    const ObjectId set = make_counting_set("set", {2, 2});
    EXPECT_THROW(tree_.resize(set, {4}), TreeError);
    EXPECT_THROW(tree_.resize(set, {2, 2, 1}), TreeError);
    EXPECT_THROW(tree_.resize(set, {1ULL << 40, 1ULL << 40}), TreeError);
    EXPECT_EQ(tree_.extents(set), (Extents{2, 2}));
    EXPECT_EQ(read_all(set), (std::vector<float>{0, 1, 2, 3}));
}

// ---------------------------------------------------------------------------
// Attributes

TEST_P(DataTrees, HasNoAttributesAtFirst) {
    const ObjectId set = make_set("set", {1});
    EXPECT_TRUE(tree_.list_attributes(set).empty());
    EXPECT_TRUE(tree_.list_attributes(tree_.root()).empty());
    EXPECT_FALSE(tree_.read_attribute(set, "SampleRate").has_value());
    EXPECT_FALSE(tree_.read_attribute(set, "").has_value());
}

TEST_P(DataTrees, KeepsIntegers) {
    for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                     std::numeric_limits<std::int64_t>::max()}) {
        tree_.write_attribute(tree_.root(), "name", value);
        EXPECT_EQ(tree_.read_attribute(tree_.root(), "name"), AttributeValue(value));
    }
}

TEST_P(DataTrees, KeepsTheWidthOfFloats) {
    tree_.write_attribute(tree_.root(), "float", 0.1F);
    tree_.write_attribute(tree_.root(), "double", 0.1);
    EXPECT_EQ(tree_.read_attribute(tree_.root(), "float"), AttributeValue(0.1F));
    EXPECT_EQ(tree_.read_attribute(tree_.root(), "double"), AttributeValue(0.1));
}

TEST_P(DataTrees, KeepsTexts) {
    round_trip(std::string("größer – 5 µV"));
}
TEST_P(DataTrees, KeepsTheEmptyText) {
    round_trip(std::string());
}
TEST_P(DataTrees, KeepsLongTexts) {
    round_trip(std::string(200'000, 'x'));
}

TEST_P(DataTrees, KeepsIntegerArrays) {
    round_trip(IntegerArray{{1, -2, 3, -4, 5, -6}, {2, 3}});
}
TEST_P(DataTrees, KeepsLongArrays) {
    round_trip(IntegerArray{std::vector<std::int64_t>(20'000, 7), {20'000}});
}
TEST_P(DataTrees, KeepsNumberArrays) {
    round_trip(NumberArray{{0.1, 1e300}, {2}});
}
TEST_P(DataTrees, KeepsTextArrays) {
    round_trip(TextArray{{"left", "", "rechts – µ"}, {3}});
}
TEST_P(DataTrees, KeepsArraysWithoutValues) {
    round_trip(IntegerArray{{}, {0}});
    tree_.write_attribute(tree_.root(), "texts", TextArray{{}, {0}});
    EXPECT_EQ(tree_.read_attribute(tree_.root(), "texts"), AttributeValue(TextArray{{}, {0}}));
}

TEST_P(DataTrees, ReplacesAnAttributeOfAnotherType) {
    const ObjectId set = make_set("set", {1});
    tree_.write_attribute(set, "name", std::string("text"));
    tree_.write_attribute(set, "name", 2.5F);
    tree_.write_attribute(set, "name", IntegerArray{{1, 2}, {2}});
    EXPECT_EQ(tree_.list_attributes(set), std::vector<std::string>{"name"});
    EXPECT_EQ(tree_.read_attribute(set, "name"), AttributeValue(IntegerArray{{1, 2}, {2}}));
}

TEST_P(DataTrees, ListsAttributesByName) {
    for (const char* name : {"b", "a", "C"}) {
        tree_.write_attribute(tree_.root(), name, std::int64_t{1});
    }
    EXPECT_EQ(tree_.list_attributes(tree_.root()), (std::vector<std::string>{"C", "a", "b"}));
}

TEST_P(DataTrees, RefusesAttributesThatContradictThemselves) {
    DataTree& tree = tree_;
    const ObjectId root = tree.root();
    tree.write_attribute(root, "name", std::int64_t{1});
    EXPECT_THROW(tree.write_attribute(root, "name", IntegerArray{{1, 2}, {3}}), TreeError);
    EXPECT_THROW(tree.write_attribute(root, "name", TextArray{{"a"}, {}}), TreeError);
    EXPECT_THROW(tree.write_attribute(root, "name", std::string("a\0b", 3)), TreeError);
    EXPECT_THROW(tree.write_attribute(root, "", std::int64_t{1}), TreeError);
    EXPECT_EQ(tree.read_attribute(root, "name"), AttributeValue(std::int64_t{1}));
    EXPECT_EQ(tree.list_attributes(root), std::vector<std::string>{"name"});
}

} // namespace

} // namespace talvora::host

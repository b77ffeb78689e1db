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
#include <numeric>

namespace talvora::host {

namespace {

struct InMemory {
    MemoryTree tree;
};

struct InFile {
    TemporaryFolder folder;
    Hdf5Tree tree{folder / "tree.h5", Hdf5Access::Create};
};

struct Observed {
    InFile file;
    ObservedTree tree{file.tree};
};

// Room for the sets of most cases; the others go through.
struct InFileCached {
    TemporaryFolder folder;
    Hdf5Tree file{folder / "tree.h5", Hdf5Access::Create};
    CachedTree tree{file, 256};
};

template <typename Place>
class DataTreeTest : public testing::Test {
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

    Place place;
    DataTree& tree_ = place.tree;
};

using Places = testing::Types<InMemory, InFile, Observed, InFileCached>;

struct PlaceNames {
    template <typename Place>
    static std::string GetName(int) {
        if (std::is_same_v<Place, InMemory>)
            return "Memory";
        if (std::is_same_v<Place, Observed>)
            return "Observed";
        return std::is_same_v<Place, InFile> ? "Hdf5" : "CachedHdf5";
    }
};

TYPED_TEST_SUITE(DataTreeTest, Places, PlaceNames);

// ---------------------------------------------------------------------------
// Objects and paths

TYPED_TEST(DataTreeTest, HasAnEmptyRootGroup) {
    DataTree& tree = this->tree_;
    EXPECT_NE(tree.root(), ObjectId{});
    EXPECT_EQ(tree.kind(tree.root()), ObjectKind::Group);
    EXPECT_EQ(tree.path(tree.root()), "");
    EXPECT_TRUE(tree.list_groups(tree.root()).empty());
    EXPECT_TRUE(tree.list_datasets(tree.root()).empty());
    EXPECT_TRUE(tree.list_others(tree.root()).empty());
}

TYPED_TEST(DataTreeTest, MakesTheGroupsOnTheWay) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_set("a/b/set", {2});
    const auto group = tree.find(tree.root(), "a/b");
    ASSERT_TRUE(group.has_value());
    EXPECT_EQ(tree.kind(*group), ObjectKind::Group);
    EXPECT_EQ(tree.kind(set), ObjectKind::DataSet);
    EXPECT_EQ(tree.path(set), "a/b/set");
    const ObjectId inner = tree.create_group(*group, "c/d");
    EXPECT_EQ(tree.path(inner), "a/b/c/d");
}

TYPED_TEST(DataTreeTest, GivesTheSameIdForTheSameObject) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_set("a/set", {2});
    const auto group = tree.find(tree.root(), "a");
    ASSERT_TRUE(group.has_value());
    EXPECT_EQ(tree.find(tree.root(), "a/set"), set);
    EXPECT_EQ(tree.find(*group, "set"), set);
    EXPECT_EQ(tree.find(tree.root(), "a"), group);
    EXPECT_NE(*group, set);
}

TYPED_TEST(DataTreeTest, IgnoresSuperfluousSlashes) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_set("/a//set/", {2});
    EXPECT_EQ(tree.path(set), "a/set");
    EXPECT_EQ(tree.find(tree.root(), "//a/set"), set);
    EXPECT_EQ(tree.find(tree.root(), ""), tree.root());
    EXPECT_EQ(tree.find(tree.root(), "/"), tree.root());
}

TYPED_TEST(DataTreeTest, FindsNothingWhereNothingIs) {
    DataTree& tree = this->tree_;
    this->make_set("set", {2});
    EXPECT_FALSE(tree.find(tree.root(), "nothing").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "nothing/at/all").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "set/below").has_value());
    EXPECT_FALSE(tree.find(tree.root(), "Set").has_value());
}

TYPED_TEST(DataTreeTest, ListsByName) {
    DataTree& tree = this->tree_;
    for (const char* name : {"b", "a", "C", "z/x"})
        tree.create_group(tree.root(), name);
    for (const char* name : {"y", "B", "z/inner"})
        this->make_set(name, {1});
    EXPECT_EQ(tree.list_groups(tree.root()), (std::vector<std::string>{"C", "a", "b", "z"}));
    EXPECT_EQ(tree.list_datasets(tree.root()), (std::vector<std::string>{"B", "y"}));
}

TYPED_TEST(DataTreeTest, KeepsNamesBeyondAscii) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_set("Gänge/Fuß 1", {1});
    EXPECT_EQ(tree.path(set), "Gänge/Fuß 1");
    EXPECT_EQ(tree.list_groups(tree.root()), std::vector<std::string>{"Gänge"});
}

TYPED_TEST(DataTreeTest, RefusesTakenNamesAndChangesNothing) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_counting_set("a/set", {3});
    EXPECT_THROW(this->make_set("a/set", {5}), TreeError);
    EXPECT_THROW(this->make_set("a", {5}), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "a"), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "a/set"), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), ""), TreeError);
    EXPECT_EQ(tree.list_groups(tree.root()), std::vector<std::string>{"a"});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 2}));
}

TYPED_TEST(DataTreeTest, MakesNoGroupsForARefusedSet) {
    DataTree& tree = this->tree_;
    this->make_set("set", {3});
    EXPECT_THROW(this->make_set("new/set", Extents(33, 1)), TreeError);
    EXPECT_THROW(this->make_set("new/set", {1ULL << 40, 1ULL << 40}), TreeError);
    EXPECT_THROW(this->make_set("new/./set", {1}), TreeError);
    EXPECT_THROW(this->make_set("set/below", {1}), TreeError);
    EXPECT_THROW(tree.create_group(tree.root(), "set/below"), TreeError);
    EXPECT_TRUE(tree.list_groups(tree.root()).empty());
}

TYPED_TEST(DataTreeTest, RefusesForeignIds) {
    DataTree& tree = this->tree_;
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

TYPED_TEST(DataTreeTest, RefusesGroupsAsSetsAndSetsAsGroups) {
    DataTree& tree = this->tree_;
    const ObjectId set = this->make_set("set", {1});
    EXPECT_THROW(tree.extents(tree.root()), TreeError);
    EXPECT_THROW(tree.resize(tree.root(), {1}), TreeError);
    EXPECT_THROW(this->read(tree.root(), {0}, {1}), TreeError);
    EXPECT_THROW(this->write(tree.root(), {0}, {1}, {1}), TreeError);
    EXPECT_THROW(tree.list_datasets(set), TreeError);
    EXPECT_THROW(tree.list_others(set), TreeError);
    EXPECT_THROW(tree.find(set, ""), TreeError);
    EXPECT_THROW(tree.create_dataset(set, "a", {1}), TreeError);
}

// ---------------------------------------------------------------------------
// Samples

TYPED_TEST(DataTreeTest, FillsANewSetWithZeros) {
    const ObjectId set = this->make_set("set", {2, 3});
    EXPECT_EQ(this->tree_.extents(set), (Extents{2, 3}));
    EXPECT_EQ(this->read_all(set), std::vector<float>(6, 0.0F));
}

TYPED_TEST(DataTreeTest, KeepsEveryBitOfASample) {
    const ObjectId set = this->make_set("set", {4});
    const std::vector<std::uint32_t> bits{0xFFC00000, 0x7F800000, 0x80000000, 0x00000001};
    std::vector<float> samples(4);
    std::memcpy(samples.data(), bits.data(), 16);
    this->write(set, {0}, {4}, samples);
    const std::vector<float> back = this->read_all(set);
    EXPECT_EQ(std::memcmp(back.data(), bits.data(), 16), 0);
}

// Every hyperslab of a set of small extents, against the samples picked one by one.
template <typename Test>
void check_all_slabs(Test& test, ObjectId set, const Extents& extents) {
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
        for (starts[d] = 0; starts[d] <= extents[d]; ++starts[d])
            for (counts[d] = 0; counts[d] <= extents[d] - starts[d]; ++counts[d])
                choose(d + 1);
    };
    choose(0);
}

TYPED_TEST(DataTreeTest, ReadsEveryHyperslabOfRanksOneToFour) {
    for (const Extents& extents : std::vector<Extents>{{5}, {3, 4}, {2, 3, 2}, {2, 1, 2, 2}})
        check_all_slabs(*this,
                        this->make_counting_set(std::to_string(extents.size()).c_str(), extents),
                        extents);
}

TYPED_TEST(DataTreeTest, WritesALineAlongEachAxisAndNothingElse) {
    const Extents extents{2, 3, 4};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const ObjectId set = this->make_set(("axis " + std::to_string(axis)).c_str(), extents);
        Extents starts{1, 1, 1};
        Extents counts{1, 1, 1};
        starts[axis] = 0;
        counts[axis] = extents[axis];
        this->write(set, starts, counts, std::vector<float>(extents[axis], 7.0F));
        EXPECT_EQ(this->read(set, starts, counts), std::vector<float>(extents[axis], 7.0F));
        const std::vector<float> all = this->read_all(set);
        EXPECT_EQ(std::count(all.begin(), all.end(), 7.0F), static_cast<long>(extents[axis]));
    }
}

TYPED_TEST(DataTreeTest, WritesABlockInItsPlace) {
    const ObjectId set = this->make_set("set", {3, 4});
    this->write(set, {1, 1}, {2, 2}, {1, 2, 3, 4});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 0, 0, 0, 0, 1, 2, 0, 0, 3, 4, 0}));
}

TYPED_TEST(DataTreeTest, RefusesWhatIsBeyondTheExtents) {
    const ObjectId set = this->make_counting_set("set", {2, 3});
    const std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
    EXPECT_THROW(this->read(set, {0, 1}, {2, 3}), TreeError);
    EXPECT_THROW(this->read(set, {3, 0}, {0, 3}), TreeError);
    EXPECT_THROW(this->read(set, {last, 0}, {1, 1}), TreeError);
    EXPECT_THROW(this->write(set, {1, 0}, {2, 1}, {8, 8}), TreeError);
    EXPECT_THROW(this->write(set, {1, last}, {1, 2}, {8, 8}), TreeError);
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TYPED_TEST(DataTreeTest, RefusesSlabsOfAnotherRankOrSize) {
    const ObjectId set = this->make_counting_set("set", {2, 3});
    EXPECT_THROW(this->read(set, {0}, {2}), TreeError);
    EXPECT_THROW(this->read(set, {0, 0, 0}, {1, 1, 1}), TreeError);
    EXPECT_THROW(this->write(set, {0, 0}, {2, 2}, {9, 9, 9}), TreeError);
    EXPECT_THROW(this->write(set, {0, 0}, {1, 2}, {9, 9, 9}), TreeError);
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 2, 3, 4, 5}));
}

TYPED_TEST(DataTreeTest, HoldsSetsWithoutSamples) {
    const ObjectId set = this->make_set("set", {3, 0});
    EXPECT_EQ(this->tree_.extents(set), (Extents{3, 0}));
    EXPECT_TRUE(this->read_all(set).empty());
    this->write(set, {0, 0}, {3, 0}, {});
}

// ---------------------------------------------------------------------------
// Resizing

TYPED_TEST(DataTreeTest, KeepsTheSamplesInsideWhenASetShrinks) {
    const ObjectId set = this->make_counting_set("set", {2, 4});
    this->tree_.resize(set, {2, 2});
    EXPECT_EQ(this->tree_.extents(set), (Extents{2, 2}));
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 4, 5}));
}

TYPED_TEST(DataTreeTest, FillsNewRoomWithZeros) {
    const ObjectId set = this->make_counting_set("set", {2, 2});
    this->tree_.resize(set, {3, 3});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 0, 2, 3, 0, 0, 0, 0}));
}

TYPED_TEST(DataTreeTest, ForgetsTheSamplesThatWereCutOff) {
    const ObjectId set = this->make_counting_set("set", {2, 4});
    this->tree_.resize(set, {2, 1});
    this->tree_.resize(set, {2, 4});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 0, 0, 0, 4, 0, 0, 0}));
}

TYPED_TEST(DataTreeTest, ResizesEachAxisOfRankFour) {
    const ObjectId set = this->make_counting_set("set", {2, 2, 2, 2});
    this->tree_.resize(set, {1, 2, 1, 2});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 4, 5}));
    this->tree_.resize(set, {1, 2, 2, 1});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 0, 4, 0}));
}

TYPED_TEST(DataTreeTest, ResizesToNothingAndBack) {
    const ObjectId set = this->make_counting_set("set", {3});
    this->tree_.resize(set, {0});
    EXPECT_TRUE(this->read_all(set).empty());
    this->tree_.resize(set, {2});
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 0}));
}

TYPED_TEST(DataTreeTest, GrowsFromOneSampleToManyAndKeepsIdAndAttributes) {
    const ObjectId set = this->make_counting_set("group/set", {2});
    this->tree_.write_attribute(set, "Unit", std::string("m/s"));
    this->tree_.resize(set, {100'000});
    EXPECT_EQ(this->tree_.find(this->tree_.root(), "group/set"), set);
    EXPECT_EQ(this->read(set, {0}, {3}), (std::vector<float>{0, 1, 0}));
    EXPECT_EQ(this->read(set, {99'999}, {1}), std::vector<float>{0});
    EXPECT_EQ(this->tree_.read_attribute(set, "Unit"), AttributeValue("m/s"));
    EXPECT_EQ(this->tree_.list_datasets(*this->tree_.find(this->tree_.root(), "group")),
              std::vector<std::string>{"set"});
}

TYPED_TEST(DataTreeTest, RefusesAnotherRankAndKeepsTheSet) {
    const ObjectId set = this->make_counting_set("set", {2, 2});
    EXPECT_THROW(this->tree_.resize(set, {4}), TreeError);
    EXPECT_THROW(this->tree_.resize(set, {2, 2, 1}), TreeError);
    EXPECT_THROW(this->tree_.resize(set, {1ULL << 40, 1ULL << 40}), TreeError);
    EXPECT_EQ(this->tree_.extents(set), (Extents{2, 2}));
    EXPECT_EQ(this->read_all(set), (std::vector<float>{0, 1, 2, 3}));
}

// ---------------------------------------------------------------------------
// Attributes

TYPED_TEST(DataTreeTest, HasNoAttributesAtFirst) {
    const ObjectId set = this->make_set("set", {1});
    EXPECT_TRUE(this->tree_.list_attributes(set).empty());
    EXPECT_TRUE(this->tree_.list_attributes(this->tree_.root()).empty());
    EXPECT_FALSE(this->tree_.read_attribute(set, "SampleRate").has_value());
    EXPECT_FALSE(this->tree_.read_attribute(set, "").has_value());
}

TYPED_TEST(DataTreeTest, KeepsIntegers) {
    for (const std::int64_t value : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                     std::numeric_limits<std::int64_t>::max()}) {
        this->tree_.write_attribute(this->tree_.root(), "name", value);
        EXPECT_EQ(this->tree_.read_attribute(this->tree_.root(), "name"), AttributeValue(value));
    }
}

TYPED_TEST(DataTreeTest, KeepsTheWidthOfFloats) {
    this->tree_.write_attribute(this->tree_.root(), "float", 0.1F);
    this->tree_.write_attribute(this->tree_.root(), "double", 0.1);
    EXPECT_EQ(this->tree_.read_attribute(this->tree_.root(), "float"), AttributeValue(0.1F));
    EXPECT_EQ(this->tree_.read_attribute(this->tree_.root(), "double"), AttributeValue(0.1));
}

TYPED_TEST(DataTreeTest, KeepsTexts) {
    this->round_trip(std::string("größer – 5 µV"));
}
TYPED_TEST(DataTreeTest, KeepsTheEmptyText) {
    this->round_trip(std::string());
}
TYPED_TEST(DataTreeTest, KeepsLongTexts) {
    this->round_trip(std::string(200'000, 'x'));
}

TYPED_TEST(DataTreeTest, KeepsIntegerArrays) {
    this->round_trip(IntegerArray{{1, -2, 3, -4, 5, -6}, {2, 3}});
}
TYPED_TEST(DataTreeTest, KeepsLongArrays) {
    this->round_trip(IntegerArray{std::vector<std::int64_t>(20'000, 7), {20'000}});
}
TYPED_TEST(DataTreeTest, KeepsNumberArrays) {
    this->round_trip(NumberArray{{0.1, 1e300}, {2}});
}
TYPED_TEST(DataTreeTest, KeepsTextArrays) {
    this->round_trip(TextArray{{"left", "", "rechts – µ"}, {3}});
}
TYPED_TEST(DataTreeTest, KeepsArraysWithoutValues) {
    this->round_trip(IntegerArray{{}, {0}});
    this->tree_.write_attribute(this->tree_.root(), "texts", TextArray{{}, {0}});
    EXPECT_EQ(this->tree_.read_attribute(this->tree_.root(), "texts"),
              AttributeValue(TextArray{{}, {0}}));
}

TYPED_TEST(DataTreeTest, ReplacesAnAttributeOfAnotherType) {
    const ObjectId set = this->make_set("set", {1});
    this->tree_.write_attribute(set, "name", std::string("text"));
    this->tree_.write_attribute(set, "name", 2.5F);
    this->tree_.write_attribute(set, "name", IntegerArray{{1, 2}, {2}});
    EXPECT_EQ(this->tree_.list_attributes(set), std::vector<std::string>{"name"});
    EXPECT_EQ(this->tree_.read_attribute(set, "name"), AttributeValue(IntegerArray{{1, 2}, {2}}));
}

TYPED_TEST(DataTreeTest, ListsAttributesByName) {
    for (const char* name : {"b", "a", "C"})
        this->tree_.write_attribute(this->tree_.root(), name, std::int64_t{1});
    EXPECT_EQ(this->tree_.list_attributes(this->tree_.root()),
              (std::vector<std::string>{"C", "a", "b"}));
}

TYPED_TEST(DataTreeTest, RefusesAttributesThatContradictThemselves) {
    DataTree& tree = this->tree_;
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

#include "host/tree/cached_tree.h"
#include "host/tree/memory_tree.h"
#include "tests/host/tree/recorded_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <numeric>
#include <random>

namespace talvora::host {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t ROOM_FOR_TWO_SETS = 2 * 6 * sizeof(float);

std::uint64_t product(const Extents& counts) {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{1}, std::multiplies());
}

class CachedTrees : public testing::Test {
  protected:
    ObjectId make_set(const char* name) {
        return cached.create_dataset(cached.root(), name, {3, 2});
    }
    std::vector<float> read(DataTree& tree, ObjectId set, const Extents& starts,
                            const Extents& counts) {
        std::vector<float> samples(product(counts), -1.0F);
        tree.read(set, {starts, counts}, samples);
        return samples;
    }
    std::vector<float> read_line(ObjectId set, std::uint64_t line) {
        return read(cached, set, {line, 0}, {1, 2});
    }
    void write_line(ObjectId set, std::uint64_t line, std::vector<float> samples) {
        cached.write(set, {Extents{line, 0}, Extents{1, 2}}, samples);
    }
    std::vector<float> stored(ObjectId set) {
        std::vector<float> samples(product(recorder.extents(set)));
        recorder.ForwardingTree::read(
            set, {Extents(recorder.extents(set).size(), 0), recorder.extents(set)}, samples);
        return samples;
    }

    RequestRecorder recorder;
    CachedTree cached{recorder, ROOM_FOR_TWO_SETS};
};

TEST_F(CachedTrees, ReadsAndWritesASetOnceForAllItsLines) {
    const ObjectId set = make_set("a");
    for (std::uint64_t line = 0; line < 3; ++line) {
        EXPECT_THAT(read_line(set, line), ElementsAre(0, 0));
        write_line(set, line, {static_cast<float>(line), 9});
    }
    cached.flush();
    EXPECT_THAT(recorder.requests, ElementsAre("read a 6", "write a 6"));
    EXPECT_THAT(stored(set), ElementsAre(0, 9, 1, 9, 2, 9));
}

TEST_F(CachedTrees, WritesNothingThatWasOnlyRead) {
    read_line(make_set("a"), 0);
    cached.flush();
    EXPECT_THAT(recorder.requests, ElementsAre("read a 6"));
}

TEST_F(CachedTrees, PassesWholeSetsStraightThrough) {
    const ObjectId set = make_set("a");
    std::vector<float> samples{1, 2, 3, 4, 5, 6};
    cached.write(set, {Extents{0, 0}, Extents{3, 2}}, samples);
    EXPECT_EQ(stored(set), samples);
    EXPECT_EQ(read(cached, set, {0, 0}, {3, 2}), samples);
    EXPECT_THAT(recorder.requests, ElementsAre("write a 6", "read a 6"));
}

TEST_F(CachedTrees, GivesTheWholeOfASetAsItsLinesLeftIt) {
    const ObjectId set = make_set("a");
    write_line(set, 1, {7, 8});
    EXPECT_THAT(read(cached, set, {0, 0}, {3, 2}), ElementsAre(0, 0, 7, 8, 0, 0));
}

TEST_F(CachedTrees, PassesSetsBeyondTheBoundThrough) {
    const ObjectId set = cached.create_dataset(cached.root(), "large", {13});
    cached.write(set, {Extents{2}, Extents{1}}, std::vector<float>{5});
    EXPECT_THAT(recorder.requests, ElementsAre("write large 1"));
    EXPECT_EQ(stored(set)[2], 5);
}

TEST_F(CachedTrees, MakesRoomByWritingTheLeastRecentlyUsed) {
    const ObjectId a = make_set("a");
    const ObjectId b = make_set("b");
    const ObjectId c = make_set("c");
    write_line(a, 0, {1, 1});
    write_line(b, 0, {2, 2});
    read_line(a, 0);
    recorder.requests.clear();
    read_line(c, 0);
    EXPECT_THAT(recorder.requests, ElementsAre("write b 6", "read c 6"));
    EXPECT_THAT(stored(b), ElementsAre(2, 2, 0, 0, 0, 0));
}

TEST_F(CachedTrees, KeepsFewSetsHoweverSmall) {
    CachedTree roomy(recorder, 1 << 20);
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        const ObjectId set = make_set(name);
        roomy.write(set, {Extents{0, 0}, Extents{1, 1}}, std::vector<float>{1});
    }
    EXPECT_THAT(recorder.requests,
                testing::Contains("write a 6")); // the first of five, before the flush
}

// Each would push the other out with every line.
TEST_F(CachedTrees, DoesNotTakeInSetsAgainAndAgainThatDoNotFitTogether) {
    const Extents extents{1000, 2};
    CachedTree tree(recorder, product(extents) * sizeof(float));
    const ObjectId a = tree.create_dataset(tree.root(), "a", extents);
    const ObjectId b = tree.create_dataset(tree.root(), "b", extents);
    for (std::uint64_t line = 0; line < extents[0]; ++line) {
        read(tree, a, {line, 0}, {1, 2});
        read(tree, b, {line, 0}, {1, 2});
    }
    EXPECT_LT(std::ranges::count(recorder.requests, "read a 2000"), 10);
}

// What is left of it is written after that, and no more.
TEST_F(CachedTrees, MakesASetSmallerAsItsLinesLeftIt) {
    const ObjectId set = make_set("a");
    write_line(set, 0, {1, 2});
    cached.resize(set, {2, 1});
    EXPECT_EQ(cached.extents(set), (Extents{2, 1}));
    EXPECT_THAT(read(cached, set, {0, 0}, {1, 1}), ElementsAre(1));
    cached.flush();
    EXPECT_THAT(recorder.requests, ElementsAre("read a 6", "resize a 2", "write a 2"));
    EXPECT_THAT(stored(set), ElementsAre(1, 0));
}

TEST_F(CachedTrees, LeavesNewRoomToTheTree) {
    const ObjectId set = make_set("a");
    write_line(set, 0, {1, 2});
    cached.resize(set, {1, 3});
    EXPECT_THAT(stored(set), ElementsAre(1, 2, 0));
    EXPECT_THAT(read(cached, set, {0, 0}, {1, 3}), ElementsAre(1, 2, 0));
}

TEST_F(CachedTrees, LosesNoSetThatCouldNotBeWrittenToMakeRoom) {
    const ObjectId a = make_set("a");
    const ObjectId b = make_set("b");
    write_line(a, 0, {1, 1});
    write_line(b, 0, {2, 2});
    recorder.without_room = "a";
    const ObjectId c = make_set("c");
    EXPECT_THROW(read_line(c, 0), TreeError);
    EXPECT_THAT(read_line(a, 0), ElementsAre(1, 1));
    recorder.without_room.clear();
    cached.flush();
    EXPECT_THAT(stored(a), ElementsAre(1, 1, 0, 0, 0, 0));
    EXPECT_THAT(stored(b), ElementsAre(2, 2, 0, 0, 0, 0));
}

TEST_F(CachedTrees, WritesTheOthersAndSaysWhichSetCouldNotBeFlushed) {
    const ObjectId a = make_set("a");
    const ObjectId b = make_set("b");
    write_line(a, 0, {1, 1});
    write_line(b, 0, {2, 2});
    recorder.without_room = "a";
    EXPECT_THROW(cached.flush(), TreeError);
    EXPECT_THAT(stored(b), ElementsAre(2, 2, 0, 0, 0, 0));
    EXPECT_THROW(cached.flush(), TreeError);
    recorder.without_room.clear();
    cached.flush();
    EXPECT_THAT(stored(a), ElementsAre(1, 1, 0, 0, 0, 0));
}

TEST_F(CachedTrees, LeavesNothingToWriteAfterAFlush) {
    write_line(make_set("a"), 0, {1, 1});
    cached.flush();
    recorder.requests.clear();
    cached.flush();
    EXPECT_THAT(recorder.requests, IsEmpty());
}

TEST_F(CachedTrees, RefusesWhatIsBeyondTheExtentsAndChangesNothing) {
    const ObjectId set = make_set("a");
    write_line(set, 0, {1, 2});
    EXPECT_THROW(read_line(set, 3), TreeError);
    EXPECT_THROW(write_line(set, 3, {8, 8}), TreeError);
    EXPECT_THROW(write_line(set, 1, {8}), TreeError);
    cached.flush();
    EXPECT_THAT(stored(set), ElementsAre(1, 2, 0, 0, 0, 0));
}

// ---------------------------------------------------------------------------
// Any order of requests, against a tree without a cache.

class RandomRequests {
  public:
    RandomRequests(unsigned seed, DataTree& tree, DataTree& reference)
        : random_(seed), tree_(tree), reference_(reference) {}

    void make_sets() {
        for (const Extents& extents :
             std::vector<Extents>{{7}, {3, 4}, {2, 3, 2}, {5, 1, 2}, {40}}) {
            add_set(extents);
        }
    }
    void request() {
        const ObjectId set = sets_[pick(sets_.size())];
        switch (pick(12)) {
        case 0:
            return resize(set);
        case 1:
            return sets_.size() < 9 ? add_set(random_extents(1 + pick(3))) : read(set);
        case 2:
        case 3:
        case 4:
        case 5:
            return write(set);
        default:
            return read(set);
        }
    }
    void expect_same_sets(DataTree& flushed) {
        for (const ObjectId set : sets_) {
            ASSERT_EQ(flushed.extents(set), reference_.extents(set));
            ASSERT_EQ(read_all(flushed, set), read_all(reference_, set));
        }
    }

  private:
    std::uint64_t pick(std::uint64_t count) { return random_() % count; }

    Extents random_extents(std::size_t rank) {
        Extents extents(rank);
        for (std::uint64_t& extent : extents) {
            extent = pick(6);
        }
        return extents;
    }
    void add_set(const Extents& extents) {
        const std::string name = std::to_string(sets_.size());
        sets_.push_back(tree_.create_dataset(tree_.root(), name, extents));
        ASSERT_EQ(reference_.create_dataset(reference_.root(), name, extents), sets_.back());
    }
    void choose_slab(ObjectId set) {
        const Extents extents = reference_.extents(set);
        starts_.assign(extents.size(), 0);
        counts_ = extents;
        if (pick(4) == 0) {
            return; // the whole set
        }
        for (std::size_t d = 0; d < extents.size(); ++d) {
            starts_[d] = pick(extents[d] + 1);
            counts_[d] = pick(extents[d] - starts_[d] + 1);
        }
    }
    void read(ObjectId set) {
        choose_slab(set);
        std::vector<float> samples(product(counts_));
        std::vector<float> expected(samples.size());
        tree_.read(set, {starts_, counts_}, samples);
        reference_.read(set, {starts_, counts_}, expected);
        ASSERT_EQ(samples, expected);
    }
    void write(ObjectId set) {
        choose_slab(set);
        std::vector<float> samples(product(counts_));
        for (float& sample : samples) {
            sample = static_cast<float>(pick(1000));
        }
        tree_.write(set, {starts_, counts_}, samples);
        reference_.write(set, {starts_, counts_}, samples);
    }
    void resize(ObjectId set) {
        const Extents extents = random_extents(reference_.extents(set).size());
        tree_.resize(set, extents);
        reference_.resize(set, extents);
        ASSERT_EQ(tree_.extents(set), extents);
    }
    static std::vector<float> read_all(DataTree& tree, ObjectId set) {
        const Extents extents = tree.extents(set);
        std::vector<float> samples(product(extents));
        tree.read(set, {Extents(extents.size(), 0), extents}, samples);
        return samples;
    }

    std::mt19937 random_;
    DataTree& tree_;
    DataTree& reference_;
    std::vector<ObjectId> sets_;
    Extents starts_;
    Extents counts_;
};

TEST(CachedTreesAgainstPlainOnes, HoldsTheSameAfterAnyRequests) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        MemoryTree below;
        MemoryTree reference;
        CachedTree cached(below, seed % 20 * 10 * sizeof(float));
        RandomRequests requests(seed, cached, reference);
        requests.make_sets();
        for (int i = 0; i < 200; ++i) {
            requests.request();
            ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed << ", request " << i;
        }
        cached.flush();
        requests.expect_same_sets(below);
        ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed;
    }
}

} // namespace

} // namespace talvora::host

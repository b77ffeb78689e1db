#include "host/runs/output_files.h"
#include "host/runs/written_sets.h"
#include "host/tree/memory_tree.h"
#include "host/tree/tree_rules.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hdf5.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void write_from(DataTree& tree, ObjectId set, std::uint64_t start,
                const std::vector<float>& samples) {
    tree.write(set, {Extents{start}, Extents{samples.size()}}, samples);
}

ObjectId find_set(DataTree& tree, const std::string& path) {
    return tree.find(tree.root(), path).value();
}

std::vector<std::string> paths_of(const std::vector<WrittenSet>& sets) {
    std::vector<std::string> paths;
    for (const WrittenSet& set : sets) {
        paths.push_back(set.path);
    }
    return paths;
}

std::string no_unknown_filter(ObjectId) {
    return "";
}

TEST(WrittenTrees, NoteWhatIsMadeResizedAndWritten) {
    MemoryTree inner;
    for (const char* path : {"read", "written", "resized"}) {
        write_from(inner, inner.create_dataset(inner.root(), path, {3}), 0, {1, 2, 3});
    }
    WrittenTree tree(inner, no_unknown_filter);
    EXPECT_THAT(tree.list_written(), IsEmpty());
    std::vector<float> samples(3);
    tree.read(find_set(tree, "read"), {Extents{0}, Extents{3}}, samples);
    write_from(tree, find_set(tree, "written"), 1, {5});
    tree.resize(find_set(tree, "resized"), {2});
    tree.create_dataset(tree.root(), "made", {4});
    EXPECT_THAT(paths_of(tree.list_written()), ElementsAre("written", "resized", "made"));
}

// However the samples came there, and whatever was written before.
TEST(WrittenTrees, MarkTheSamplesAsTheyAreInTheEnd) {
    const std::vector<float> samples = {1, std::numeric_limits<float>::quiet_NaN(), -0.0F};
    const std::function<void(DataTree&, ObjectId)> WAYS[] = {
        [&](DataTree& tree, ObjectId set) { write_from(tree, set, 0, samples); },
        [&](DataTree& tree, ObjectId set) {
            write_from(tree, set, 0, {7, 8, 9});
            write_from(tree, set, 2, {samples[2]});
            write_from(tree, set, 0, {samples[0], samples[1]});
        },
        [&](DataTree& tree, ObjectId set) {
            write_from(tree, set, 2, {7});
            write_from(tree, set, 0, samples);
        },
        [&](DataTree& tree, ObjectId set) {
            write_from(tree, set, 0, samples);
            tree.resize(set, {4});
            tree.resize(set, {3});
        }};
    ContentMarker expected;
    expected.add(std::as_bytes(std::span(samples)));
    for (const auto& way : WAYS) {
        MemoryTree inner;
        WrittenTree tree(inner, no_unknown_filter);
        way(tree, tree.create_dataset(tree.root(), "X", {3}));
        const std::vector<WrittenSet> written = tree.list_written();
        ASSERT_EQ(written.size(), 1U);
        EXPECT_EQ(written[0].extents, Extents{3});
        EXPECT_EQ(written[0].mark, expected.finish());
    }
}

TEST(WrittenTrees, RefuseSamplesThatAreReadOtherwiseThanTheyWereWritten) {
    std::vector<float> samples(3);
    const auto read_spoiled = [&](const std::string& filter,
                                  const std::function<void(WrittenTree&, ObjectId)>& more) {
        MemoryTree inner;
        WrittenTree tree(inner, [&](ObjectId) { return filter; });
        const ObjectId set = tree.create_dataset(tree.root(), "X", {3});
        write_from(tree, set, 0, {1, 2, 3});
        tree.read(set, {Extents{0}, Extents{3}}, samples);
        write_from(inner, set, 1, {2.0000002F});
        more(tree, set);
        tree.read(set, {Extents{0}, Extents{3}}, samples);
    };
    const auto nothing = [](WrittenTree&, ObjectId) {};
    EXPECT_THAT([&] { read_spoiled("", nothing); },
                testing::ThrowsMessage<StorageError>(
                    "'X' reads back other samples than were written to it"));
    EXPECT_THAT([&] { read_spoiled("the filter 305", nothing); },
                testing::ThrowsMessage<StorageError>(testing::StartsWith(
                    "'X' reads back other samples than were written to it: the filter 305, which "
                    "is not known here, may round them")));
    EXPECT_NO_THROW(
        read_spoiled("", [](WrittenTree& tree, ObjectId set) { write_from(tree, set, 1, {5}); }));
}

// A set of [2, 6] that is written by its halves of lines: a later step reads it so again.
TEST(WrittenTrees, RefusePartsThatAreReadOtherwiseThanTheyWereWritten) {
    const auto visit_halves = [](const std::function<void(const Hyperslab&)>& visit) {
        for (const std::uint64_t line : {0U, 1U}) {
            for (const std::uint64_t start : {0U, 3U}) {
                visit({Extents{line, start}, Extents{1, 3}});
            }
        }
    };
    const auto read_spoiled = [&](std::uint64_t spoiled_line,
                                  const std::function<void(WrittenTree&, ObjectId)>& more) {
        MemoryTree inner;
        WrittenTree tree(inner, no_unknown_filter);
        const ObjectId set = tree.create_dataset(tree.root(), "X", {2, 6});
        std::vector<float> samples = {1, 2, 3};
        visit_halves([&](const Hyperslab& slab) { tree.write(set, slab, samples); });
        visit_halves([&](const Hyperslab& slab) { tree.read(set, slab, samples); });
        if (spoiled_line < 2) {
            inner.write(set, {Extents{spoiled_line, 4}, Extents{1, 1}}, std::vector<float>{7});
        }
        more(tree, set);
        visit_halves([&](const Hyperslab& slab) { tree.read(set, slab, samples); });
    };
    const auto write = [](const Extents& starts, const Extents& counts) {
        return [=](WrittenTree& tree, ObjectId set) {
            tree.write(set, {starts, counts}, std::vector<float>(count_samples(counts), 5));
        };
    };
    const auto nothing = [](WrittenTree&, ObjectId) {};
    const auto refusal = testing::ThrowsMessage<StorageError>(
        "'X' reads back other samples than were written to it");
    EXPECT_NO_THROW(read_spoiled(2, nothing));
    EXPECT_THAT([&] { read_spoiled(0, nothing); }, refusal);
    EXPECT_THAT([&] { read_spoiled(1, nothing); }, refusal);
    EXPECT_THAT([&] { read_spoiled(1, write({0, 0}, {1, 6})); }, refusal);
    const auto read_whole = [](WrittenTree& tree, ObjectId set) {
        std::vector<float> samples(12);
        tree.read(set, {Extents{0, 0}, Extents{2, 6}}, samples);
    };
    EXPECT_NO_THROW(read_spoiled(2, read_whole));
    EXPECT_THAT([&] { read_spoiled(1, read_whole); }, refusal);
    // What is written by the way is what is read then: in a part, over two, across lines.
    for (const auto& more : {write({1, 5}, {1, 1}), write({0, 2}, {1, 2}), write({1, 0}, {1, 6}),
                             write({0, 1}, {2, 1}), write({0, 0}, {2, 6})}) {
        EXPECT_NO_THROW(read_spoiled(2, more));
    }
}

TEST(WrittenTrees, ForgetPartsOfASetThatAreCutByResizing) {
    MemoryTree inner;
    WrittenTree tree(inner, no_unknown_filter);
    const ObjectId set = tree.create_dataset(tree.root(), "X", {2, 2});
    tree.write(set, {Extents{1, 0}, Extents{1, 2}}, std::vector<float>{1, 2});
    tree.resize(set, {2, 1});
    std::vector<float> samples(1);
    EXPECT_NO_THROW(tree.read(set, {Extents{1, 0}, Extents{1, 1}}, samples));
}

// Of lines of 6 samples the first 2 are written, and 4 or 2 are left of each.
TEST(WrittenTrees, RefusePartsThatResizingSpoiled) {
    const auto refusal = testing::ThrowsMessage<StorageError>(
        "'X' reads back other samples than were written to it");
    const auto resize = [](const Extents& extents, const Extents& spoiled) {
        MemoryTree inner;
        WrittenTree tree(inner, no_unknown_filter);
        const ObjectId set = tree.create_dataset(tree.root(), "X", {2, 1, 6});
        for (const std::uint64_t line : {0U, 1U}) {
            tree.write(set, {Extents{line, 0, 0}, Extents{1, 1, 2}}, std::vector<float>{1, 2});
        }
        tree.resize(set, extents);
        if (!spoiled.empty()) {
            inner.write(set, {spoiled, Extents{1, 1, 1}}, std::vector<float>{7});
        }
        tree.list_written();
    };
    for (const std::uint64_t length : {4U, 2U}) {
        EXPECT_NO_THROW(resize({2, 1, length}, {}));
        EXPECT_THAT([&] { resize({2, 1, length}, {0, 0, 1}); }, refusal);
        EXPECT_THAT([&] { resize({2, 1, length}, {1, 0, 0}); }, refusal);
    }
    EXPECT_NO_THROW(resize({2, 1, 4}, {1, 0, 2})); // which nobody wrote
    EXPECT_NO_THROW(resize({1, 1, 6}, {}));
    EXPECT_NO_THROW(resize({2, 2, 6}, {1, 1, 0}));
}

TEST(WrittenTrees, TakeSetsWithoutSamples) {
    MemoryTree inner;
    WrittenTree tree(inner, no_unknown_filter);
    const ObjectId set = tree.create_dataset(tree.root(), "X", {2, 0});
    tree.write(set, {Extents{1, 0}, Extents{1, 0}}, {});
    tree.resize(set, {2, 3});
    EXPECT_EQ(tree.list_written()[0].extents, (Extents{2, 3}));
    tree.resize(set, {2, 0});
    EXPECT_EQ(tree.list_written()[0].extents, (Extents{2, 0}));
}

// Parts of more samples than are read at once.
TEST(WrittenTrees, ComparePartsOfAnyLength) {
    constexpr std::uint64_t LENGTH = 700'000;
    MemoryTree inner;
    WrittenTree tree(inner, no_unknown_filter);
    const ObjectId set = tree.create_dataset(tree.root(), "X", {2, LENGTH + 5});
    for (const std::uint64_t line : {0U, 1U}) {
        tree.write(set, {Extents{line, 3}, Extents{1, LENGTH}}, std::vector<float>(LENGTH, 1));
    }
    inner.write(set, {Extents{1, LENGTH + 2}, Extents{1, 1}}, std::vector<float>{7});
    EXPECT_THROW(tree.list_written(), StorageError);
}

// A file with the sets X and Y, written and closed; spoiled by `spoil` before it is checked.
class ReadBack : public testing::Test {
  protected:
    std::string check_spoiled(const std::function<void(Hdf5Tree&)>& spoil) {
        const std::vector<WrittenSet> written = write();
        {
            Hdf5Tree tree(file_, Hdf5Access::ReadWrite);
            spoil(tree);
            tree.close();
        }
        try {
            check_written(file_, written);
        } catch (const TreeError& error) {
            EXPECT_EQ(dynamic_cast<const StorageError*>(&error), nullptr); // the input's fault
            return error.what();
        }
        return "";
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_ / "file.h5";

  private:
    std::vector<WrittenSet> write() const {
        Hdf5Tree inner(file_, Hdf5Access::Create);
        WrittenTree tree(inner);
        for (const char* path : {"X", "Y"}) {
            write_from(tree, tree.create_dataset(tree.root(), path, {3}), 0, {1, 2, 3});
        }
        std::vector<WrittenSet> written = tree.list_written();
        inner.close();
        return written;
    }
};

TEST_F(ReadBack, AcceptsWhatIsAsItWasWritten) {
    EXPECT_EQ(check_spoiled([](Hdf5Tree&) {}), "");
}

TEST_F(ReadBack, NamesASetWithAnotherSample) {
    EXPECT_EQ(check_spoiled(
                  [](Hdf5Tree& tree) { write_from(tree, find_set(tree, "Y"), 1, {2.0000002F}); }),
              "'Y' reads back other samples than were written to it");
}

TEST_F(ReadBack, NamesASetOfAnotherShape) {
    EXPECT_EQ(check_spoiled([](Hdf5Tree& tree) { tree.resize(find_set(tree, "X"), {4}); }),
              "'X' was written as [3] and reads back as [4]");
}

TEST_F(ReadBack, NamesASetThatIsGone) {
    std::vector<WrittenSet> written = {{"Z", {3}, {}}};
    Hdf5Tree tree(file_, Hdf5Access::Create);
    EXPECT_THROW(compare_written(tree, written), TreeError);
}

// A checksum of the library's finds another byte in the file when the samples are read.
TEST_F(ReadBack, TakesSamplesThatCannotBeReadForAFaultOfTheResult) {
    std::vector<WrittenSet> written;
    {
        const hid_t file = H5Fcreate(file_.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        const hid_t properties = H5Pcreate(H5P_DATASET_CREATE);
        const hsize_t extent = 3;
        H5Pset_chunk(properties, 1, &extent);
        H5Pset_fletcher32(properties);
        const hid_t space = H5Screate_simple(1, &extent, nullptr);
        H5Dclose(
            H5Dcreate2(file, "X", H5T_IEEE_F32LE, space, H5P_DEFAULT, properties, H5P_DEFAULT));
        H5Sclose(space);
        H5Pclose(properties);
        H5Fclose(file);
        Hdf5Tree inner(file_, Hdf5Access::ReadWrite);
        WrittenTree tree(inner);
        write_from(tree, find_set(tree, "X"), 0, {1.5F, 2.5F, 3.5F});
        written = tree.list_written();
        inner.close();
    }
    std::string bytes = read_file(file_);
    const std::vector<float> samples = {1.5F, 2.5F, 3.5F};
    const std::string as_written(reinterpret_cast<const char*>(samples.data()), 12);
    ASSERT_NE(bytes.find(as_written), std::string::npos);
    bytes[bytes.find(as_written)] ^= 1;
    write_file(file_, bytes);
    Hdf5Tree tree(file_, Hdf5Access::ReadOnly);
    try {
        compare_written(tree, written);
        FAIL();
    } catch (const StorageError&) {
        FAIL() << "blames the input";
    } catch (const TreeError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("'X'"));
    }
}

} // namespace
} // namespace talvora::host

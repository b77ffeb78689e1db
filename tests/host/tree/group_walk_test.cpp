#include "host/hdf5/hdf5_tree.h"
#include "host/tree/group_walk.h"
#include "host/tree/memory_tree.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>
#include <hdf5.h>

#include <stdexcept>
#include <vector>

namespace talvora::host {
namespace {

using Lines = std::vector<std::string>;

// "a" for a group that is entered, "a again" for one that was met before.
Lines list_walk(DataTree& tree, const std::string& start) {
    Lines lines;
    walk_group_places(tree, tree.find(tree.root(), start).value(), start,
                      [&](const GroupPlace& place) {
                          lines.push_back(place.path + (place.is_first ? "" : " again"));
                      });
    return lines;
}

TEST(GroupWalks, VisitEachGroupBeforeWhatIsBelowIt) {
    MemoryTree tree;
    tree.create_group(tree.root(), "b");
    tree.create_group(tree.root(), "a/z");
    tree.create_group(tree.root(), "a/c/d");
    tree.create_dataset(tree.root(), "a/set", {1});
    EXPECT_EQ(list_walk(tree, ""), (Lines{"", "a", "a/c", "a/c/d", "a/z", "b"}));
    EXPECT_EQ(list_walk(tree, "a/c"), (Lines{"a/c", "a/c/d"}));
}

TEST(GroupWalks, EnterALinkedGroupInTheFirstOfItsPlaces) {
    const TemporaryFolder folder;
    Hdf5Tree(folder / "links.h5", Hdf5Access::Create).create_group(ObjectId{1}, "b/c");
    const hid_t file = H5Fopen((folder / "links.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
    ASSERT_GE(H5Lcreate_soft("/b", file, "a", H5P_DEFAULT, H5P_DEFAULT), 0);
    ASSERT_GE(H5Lcreate_hard(file, "/", file, "b/c/up", H5P_DEFAULT, H5P_DEFAULT), 0);
    ASSERT_GE(H5Fclose(file), 0);
    Hdf5Tree tree(folder / "links.h5", Hdf5Access::ReadOnly);
    EXPECT_EQ(list_walk(tree, ""), (Lines{"", "a", "a/c", "a/c/up again", "b again"}));
}

TEST(GroupWalks, FindALinkThatLeadsBack) {
    const TemporaryFolder folder;
    Hdf5Tree(folder / "links.h5", Hdf5Access::Create).create_group(ObjectId{1}, "a/b/c");
    const auto find = [&] {
        Hdf5Tree tree(folder / "links.h5", Hdf5Access::ReadOnly);
        return find_loop(tree, tree.find(tree.root(), "a").value(), "a");
    };
    const auto link = [&](const char* target, const char* name) {
        const hid_t file = H5Fopen((folder / "links.h5").c_str(), H5F_ACC_RDWR, H5P_DEFAULT);
        ASSERT_GE(H5Lcreate_soft(target, file, name, H5P_DEFAULT, H5P_DEFAULT), 0);
        ASSERT_GE(H5Fclose(file), 0);
    };
    EXPECT_EQ(find(), std::nullopt);
    link("/a/b", "again"); // not below a
    link("/a/b/c", "/a/twice");
    EXPECT_EQ(find(), std::nullopt);
    link("/a/b", "/a/b/c/up");
    EXPECT_EQ(find(), "a/b/c/up");
}

TEST(GroupWalks, GiveEachGroupOnceWhenPlacesDoNotMatter) {
    MemoryTree tree;
    const ObjectId below = tree.create_group(tree.root(), "a/b");
    const ObjectId start = tree.find(tree.root(), "a").value();
    std::vector<ObjectId> groups;
    walk_groups(tree, start, [&](ObjectId group) { groups.push_back(group); });
    EXPECT_EQ(groups, (std::vector{start, below}));
}

TEST(GroupWalks, EndWithAnExceptionOfTheVisitor) {
    MemoryTree tree;
    tree.create_group(tree.root(), "a/b");
    Lines lines;
    const auto visit = [&](const GroupPlace& place) {
        lines.push_back(place.path);
        if (place.path == "a") {
            throw std::runtime_error("enough");
        }
    };
    EXPECT_THROW(walk_group_places(tree, tree.root(), "", visit), std::runtime_error);
    EXPECT_EQ(lines, (Lines{"", "a"}));
}

} // namespace
} // namespace talvora::host

// Trees in memory: what goes in comes out, and what is borrowed is never written to.
#include "tests/library/units/library_test.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talvora::library_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Trees, BorrowRowMajorFloats) {
    Tree tree;
    const Floats samples = {1, 2, 3, 4, 5, 6};
    const Extents extents = {2, 3};
    const Extents strides = {12, 4};
    ASSERT_GOOD(tree.add("Imu/Rate", make_array(samples, extents)));
    ASSERT_GOOD(tree.add("Imu/Other", make_array(samples, extents, &strides)));
    for (const char* path : {"Imu/Rate", "Imu/Other", "/Imu//Rate/"}) {
        const talvora_array array = tree.look(path);
        EXPECT_EQ(array.samples, samples.data());
        EXPECT_EQ(array.type, TALVORA_FLOAT32);
        EXPECT_EQ(array.strides, nullptr);
        EXPECT_EQ(tree.read(path), (SetContent{{2, 3}, samples}));
    }
}

TEST(Trees, CopyArraysThatAreLaidOutOtherwise) {
    Tree tree;
    const Floats samples = {1, 2, 3, 4, 5, 6};
    const Extents turned = {3, 2};
    const Extents columns = {4, 12}; // of the table [2, 3]
    ASSERT_GOOD(tree.add("Turned", make_array(samples, turned, &columns)));
    EXPECT_EQ(tree.read("Turned"), (SetContent{{3, 2}, {1, 4, 2, 5, 3, 6}}));
    // From the last sample to the first.
    talvora_array backward = make_array(samples, turned);
    const Extents six = {6};
    const Extents minus = {-4};
    backward.samples = const_cast<float*>(&samples[5]);
    backward.extents = six.data();
    backward.strides = minus.data();
    backward.rank = 1;
    ASSERT_GOOD(tree.add("Backward", backward));
    EXPECT_EQ(tree.read("Backward"), (SetContent{{6}, {6, 5, 4, 3, 2, 1}}));
    // One sample again and again.
    const Extents three_dimensions = {2, 1, 2};
    const Extents still = {0, 400, 0};
    ASSERT_GOOD(tree.add("Still", make_array(samples, three_dimensions, &still)));
    EXPECT_EQ(tree.read("Still"), (SetContent{{2, 1, 2}, {1, 1, 1, 1}}));
}

TEST(Trees, TakeDoublesAsTheNearestFloats) {
    Tree tree;
    // 1 + 2^-25 lies between 1 and the next float, nearer to 1; 1 + 3 * 2^-25 nearer to that.
    const std::vector<double> samples = {1 + std::ldexp(1, -25),
                                         1 + 3 * std::ldexp(1, -25),
                                         -0.0,
                                         std::numeric_limits<double>::quiet_NaN(),
                                         std::numeric_limits<double>::infinity(),
                                         0.1};
    const Extents extents = {1, 6};
    ASSERT_GOOD(tree.add("X", make_array(samples, extents)));
    const SetContent set = tree.read("X");
    EXPECT_EQ(set.samples[0], 1.0F);
    EXPECT_EQ(set.samples[1], 1.0F + std::ldexp(1.0F, -23));
    EXPECT_TRUE(std::signbit(set.samples[2]));
    EXPECT_TRUE(std::isnan(set.samples[3]));
    EXPECT_TRUE(std::isinf(set.samples[4]));
    EXPECT_EQ(set.samples[5], 0.1F);
    const Extents turned = {6, 1};
    const Extents columns = {8, 48};
    ASSERT_GOOD(tree.add("Y", make_array(samples, turned, &columns)));
    EXPECT_EQ(tree.read("Y").samples[1], set.samples[1]);
}

TEST(Trees, RefuseDoublesBeyondEveryFloat) {
    Tree tree;
    const std::vector<double> samples = {0, -1e39};
    const Extents extents = {2};
    expect_unchanged(
        tree, [&] { return tree.add("Far", make_array(samples, extents)); },
        TALVORA_INVALID_ARGUMENT,
        "'Far' has finite samples beyond the largest 32-bit float, 3.40282e+38");
}

TEST(Trees, TakeEmptyArrays) {
    Tree tree;
    const Floats floats;
    const std::vector<double> doubles;
    const Extents extents = {3, 0};
    const Extents strides = {4, 4};
    ASSERT_GOOD(tree.add("A", make_array(floats, extents)));
    ASSERT_GOOD(tree.add("B", make_array(doubles, extents)));
    ASSERT_GOOD(tree.add("C", make_array(floats, extents, &strides)));
    for (const char* path : {"A", "B", "C"}) {
        EXPECT_EQ(tree.read(path), (SetContent{{3, 0}, {}}));
    }
}

// The highest rank of a file is 32.
TEST(Trees, TakeEveryRankThatAFileCanHold) {
    Tree tree;
    const Floats samples = {7};
    for (const std::size_t rank : {std::size_t{1}, std::size_t{32}}) {
        const Extents extents(rank, 1);
        ASSERT_GOOD(tree.add("R" + std::to_string(rank), make_array(samples, extents)));
    }
    const Extents extents(33, 1);
    EXPECT_EQ(
        tree.add("R33", make_array(samples, extents)),
        (Outcome{TALVORA_INVALID_ARGUMENT, "'R33' cannot have the rank 33 (allowed: 1 to 32)"}));
}

TEST(Trees, RefuseArraysThatAreNone) {
    Tree tree;
    const Floats samples = {1, 2};
    const Extents two = {2};
    const Extents below = {-2};
    const Extents odd = {3};
    const Extents huge = {std::int64_t{1} << 62, 4};
    const auto expect = [&](talvora_array array, const std::string& part) {
        expect_unchanged(
            tree, [&] { return tree.add("X", array); }, TALVORA_INVALID_ARGUMENT, part);
    };
    talvora_array array = make_array(samples, two);
    array.type = 3;
    expect(array, "type of the array is 3");
    array = make_array(samples, two);
    array.rank = 0;
    expect(array, "rank of the array is 0");
    array = make_array(samples, two);
    array.samples = nullptr;
    expect(array, "NULL");
    array = make_array(samples, two);
    array.extents = nullptr;
    expect(array, "NULL");
    array = make_array(samples, two);
    array.struct_size = 8;
    expect(array, "struct_size of the array is 8");
    array = make_array(samples, two);
    array.samples = static_cast<char*>(array.samples) + 1;
    expect(array, "multiple of 4");
    expect(make_array(samples, below), "-2");
    expect(make_array(samples, two, &odd), "stride");
    expect(make_array(samples, huge), "memory");
}

TEST(Trees, RefusePathsThatNoFileCouldKeep) {
    Tree tree;
    const Floats samples = {1};
    const Extents extents = {1};
    const talvora_array array = make_array(samples, extents);
    const auto expect = [&](const std::string& path, const std::string& part) {
        expect_unchanged(
            tree, [&] { return tree.add(path, array); }, TALVORA_INVALID_ARGUMENT, part);
        expect_unchanged(
            tree, [&] { return tree.add_group(path); }, TALVORA_INVALID_ARGUMENT, part);
    };
    ASSERT_GOOD(tree.add("Taken", array));
    expect("", "'' names no new object");
    expect("///", "'///' names no new object");
    expect("A/./B", "'.' cannot be used as a name in a path");
    expect("Taken", "'Taken' exists already");
    expect("Taken/X", "'Taken' is no group: nothing can be made in it");
    expect("A/\xFFz", "path is no UTF-8: 'A/\\xFFz'");
    std::string deep;
    for (int i = 0; i < 1001; ++i) {
        deep += "a/";
    }
    expect(deep, "path has 1001 names (allowed: up to 1000)");
    // A name like any other, in files too.
    EXPECT_GOOD(tree.add("A/../B", array));
    EXPECT_EQ(tree.read("A/../B").samples, samples);
}

TEST(Trees, WalkGroupsBeforeWhatIsInThem) {
    Tree tree;
    const Floats samples = {1};
    const Extents extents = {1};
    for (const char* path : {"b/y", "b/x/z", "b c", "a", "b/x/a"}) {
        ASSERT_GOOD(tree.add(path, make_array(samples, extents)));
    }
    ASSERT_GOOD(tree.add_group("c/d"));
    const std::vector<std::pair<std::string, talvora_kind>> expected = {
        {"a", TALVORA_SET},     {"b", TALVORA_GROUP},   {"b/x", TALVORA_GROUP},
        {"b/x/a", TALVORA_SET}, {"b/x/z", TALVORA_SET}, {"b/y", TALVORA_SET},
        {"b c", TALVORA_SET},   {"c", TALVORA_GROUP},   {"c/d", TALVORA_GROUP}};
    EXPECT_EQ(tree.content().objects, expected);
}

TEST(Trees, EndAWalkWhenToldTo) {
    Tree tree;
    ASSERT_GOOD(tree.add_group("a/b"));
    int count = 0;
    const auto visit = [](void* context, const char*, talvora_kind) -> std::int32_t {
        ++*static_cast<int*>(context);
        return 1;
    };
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_tree_visit(tree, visit, &count, error, size);
              }),
              (Outcome{TALVORA_STOPPED, "stopped at 'a'"}));
    EXPECT_EQ(count, 1);
}

TEST(Trees, GiveBackAttributesOfAllKinds) {
    Tree tree;
    ASSERT_GOOD(tree.add_group("Imu"));
    const std::map<std::string, Attribute> attributes = {
        {"Whole", integer(std::numeric_limits<std::int64_t>::min())},
        {"Number", number(0.1)},
        {"Float", float_number(0.5)},
        {"Text", text("Größe\n")},
        {"Empty", text("")},
        {"Integers", {TALVORA_INTEGERS, {2, 1}, std::vector<std::int64_t>{1, -2}}},
        {"Numbers", {TALVORA_NUMBERS, {3}, std::vector<double>{1, 2.5, -0.25}}},
        {"Texts", {TALVORA_TEXTS, {2}, Words{"x", "ü"}}},
        {"None", {TALVORA_NUMBERS, {0}, std::vector<double>{}}}};
    for (const char* path : {"", "Imu"}) {
        for (const auto& [name, attribute] : attributes) {
            ASSERT_GOOD(tree.set(path, name, attribute));
        }
        for (const auto& [name, attribute] : attributes) {
            EXPECT_EQ(tree.get(path, name), attribute) << name;
        }
        EXPECT_THAT(tree.list_attributes(path),
                    ElementsAre("Empty", "Float", "Integers", "None", "Number", "Numbers", "Text",
                                "Texts", "Whole"));
    }
    // One of the same name is replaced, whatever its type.
    ASSERT_GOOD(tree.set("Imu", "Whole", text("now a text")));
    EXPECT_EQ(tree.get("Imu", "Whole"), text("now a text"));
}

TEST(Trees, RoundNumbersThatAreStoredAsFloats) {
    Tree tree;
    ASSERT_GOOD(tree.set("", "Rate", float_number(0.1)));
    EXPECT_EQ(tree.get("", "Rate"), float_number(static_cast<double>(0.1F)));
    EXPECT_EQ(tree.set("", "Rate", float_number(1e39)),
              (Outcome{TALVORA_INVALID_ARGUMENT, "no 32-bit float is near to 1e+39"}));
    EXPECT_EQ(tree.set("", "Rates", {TALVORA_FLOAT_NUMBERS, {1}, std::vector<double>{1}}).status,
              TALVORA_INVALID_ARGUMENT);
}

TEST(Trees, RefuseAttributesThatAreNone) {
    Tree tree;
    const auto expect = [&](const std::string& name, const Attribute& attribute,
                            const std::string& part) {
        expect_unchanged(
            tree, [&] { return tree.set("", name, attribute); }, TALVORA_INVALID_ARGUMENT, part);
    };
    expect("", number(1), "an attribute cannot have the empty name");
    expect(".", number(1), "'.' cannot be used as a name");
    expect("T", text("\xC3"), "a text of the attribute is no UTF-8: '\\xC3'");
    expect("\xFF", number(1), "name is no UTF-8");
    expect("N", {TALVORA_NUMBERS, {-1}, std::vector<double>{1}}, "the extent -1");
    expect("N", {TALVORA_NUMBERS, {std::int64_t{1} << 62, 4}, std::vector<double>{1}},
           "can be counted");
    expect("N", {TALVORA_NUMBERS, {std::int64_t{1} << 62}, std::vector<double>{1}},
           "more values than memory can");
    expect("N", {9, {}, std::vector<double>{1}}, "type of the attribute is 9");
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  talvora_attribute given{};
                  given.struct_size = sizeof given;
                  given.type = TALVORA_TEXTS;
                  return talvora_tree_set_attribute(tree, "", "T", &given, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "texts is NULL"}));
}

TEST(Trees, NameWhatIsNearestToWhatIsNotThere) {
    Tree tree;
    tree.add_signal("Imu/Rate", {1, 2}, {1, 2});
    talvora_array array{};
    array.struct_size = sizeof array;
    const auto look = [&](const char* path) {
        return run_call([&](char* error, std::size_t size) {
            return talvora_tree_get_set(tree, path, &array, error, size);
        });
    };
    EXPECT_EQ(look("Imu/Rote"), (Outcome{TALVORA_NOT_FOUND, "there is no data set 'Imu/Rote'; "
                                                            "nearest: Imu/Rate"}));
    EXPECT_EQ(look("Imu"), (Outcome{TALVORA_NOT_FOUND, "'Imu' is a group, no data set"}));
    EXPECT_EQ(look("Imu/\xFF").status, TALVORA_INVALID_ARGUMENT);
    Attribute found;
    EXPECT_EQ(tree.find("Imu/Rate", "SampleRote", found),
              (Outcome{TALVORA_NOT_FOUND, "'Imu/Rate' has no attribute 'SampleRote'"}));
    EXPECT_EQ(tree.find("", "X", found), (Outcome{TALVORA_NOT_FOUND, "'/' has no attribute 'X'"}));
    EXPECT_EQ(tree.set("Imo", "X", number(1)).status, TALVORA_NOT_FOUND);
}

TEST(Trees, AnswerToNothing) {
    talvora_tree_destroy(nullptr);
    EXPECT_EQ(run_call([](char* error, std::size_t size) {
                  return talvora_tree_create(nullptr, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "tree is NULL"}));
    EXPECT_EQ(run_call([](char* error, std::size_t size) {
                  return talvora_tree_add_group(nullptr, "a", error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "tree is NULL"}));
    Tree tree;
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_tree_add_group(tree, nullptr, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "path is NULL"}));
}

} // namespace
} // namespace talvora::library_test

#include "host/tree/attribute_cache.h"
#include "tests/host/tree/recorded_requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {

namespace {

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();

using testing::ElementsAre;
using testing::IsEmpty;

class AttributeCaches : public testing::Test {
  protected:
    void write_twice(const AttributeValue& first, const AttributeValue& second) {
        cache.write(root, "name", first);
        cache.write(root, "name", second);
    }

    RequestRecorder recorder;
    AttributeCache cache{recorder};
    ObjectId root = recorder.root();
};

TEST_F(AttributeCaches, AsksForAValueOnce) {
    recorder.write_attribute(root, "SampleRate", 100.0F);
    recorder.requests.clear();
    EXPECT_EQ(cache.read(root, "SampleRate"), AttributeValue(100.0F));
    EXPECT_EQ(cache.read(root, "SampleRate"), AttributeValue(100.0F));
    EXPECT_THAT(recorder.requests, ElementsAre("get SampleRate"));
}

TEST_F(AttributeCaches, AsksOnceForAValueThatIsNotThere) {
    EXPECT_FALSE(cache.read(root, "SampleRate").has_value());
    EXPECT_FALSE(cache.read(root, "SampleRate").has_value());
    EXPECT_THAT(recorder.requests, ElementsAre("get SampleRate"));
}

TEST_F(AttributeCaches, ListsOnceAndNamesWhatCameSince) {
    recorder.write_attribute(root, "b", 1.0F);
    recorder.requests.clear();
    EXPECT_THAT(cache.list(root), ElementsAre("b"));
    cache.write(root, "c", 1.0F);
    cache.write(root, "a", 1.0F);
    cache.write(root, "b", 2.0F);
    EXPECT_THAT(cache.list(root), ElementsAre("a", "b", "c"));
    EXPECT_THAT(recorder.requests, ElementsAre("list", "set c", "set a", "set b"));
}

TEST_F(AttributeCaches, WritesTheSameValueOnce) {
    write_twice(NumberArray{{1, MISSING}, {2}}, NumberArray{{1, MISSING}, {2}});
    EXPECT_THAT(recorder.requests, ElementsAre("set name"));
}

TEST_F(AttributeCaches, WritesZeroOverMinusZero) {
    write_twice(-0.0F, 0.0F);
    EXPECT_THAT(recorder.requests, ElementsAre("set name", "set name"));
    EXPECT_FALSE(std::signbit(std::get<float>(*recorder.read_attribute(root, "name"))));
}

TEST_F(AttributeCaches, WritesTheSameNumberInAnotherType) {
    write_twice(1.0F, 1.0);
    EXPECT_EQ(recorder.read_attribute(root, "name"), AttributeValue(1.0));
}

TEST_F(AttributeCaches, WritesTheSameNumbersInAnotherShape) {
    write_twice(NumberArray{{1, 2}, {2}}, NumberArray{{1, 2}, {2, 1}});
    EXPECT_EQ(recorder.read_attribute(root, "name"), AttributeValue(NumberArray{{1, 2}, {2, 1}}));
}

// A file may hold it in another width than we write.
TEST_F(AttributeCaches, WritesTheSameValueOverOneThatWasOnlyRead) {
    recorder.write_attribute(root, "name", 1.0F);
    cache.read(root, "name");
    recorder.requests.clear();
    cache.write(root, "name", 1.0F);
    EXPECT_THAT(recorder.requests, ElementsAre("set name"));
}

TEST_F(AttributeCaches, GivesBackWhatWasWritten) {
    write_twice(std::string("old"), std::string("new"));
    EXPECT_EQ(cache.read(root, "name"), AttributeValue("new"));
}

TEST_F(AttributeCaches, TriesAFailedWriteAgain) {
    cache.write(root, "name", 1.0F);
    recorder.without_room = "name";
    EXPECT_THROW(cache.write(root, "name", 2.0F), TreeError);
    EXPECT_THROW(cache.write(root, "name", 2.0F), TreeError);
    EXPECT_EQ(cache.read(root, "name"), AttributeValue(1.0F));
    recorder.without_room.clear();
    cache.write(root, "name", 1.0F);
    EXPECT_EQ(recorder.requests.back(), "set name");
}

TEST_F(AttributeCaches, TellsObjectsApart) {
    const ObjectId set = recorder.create_dataset(root, "set", {1});
    cache.write(root, "name", 1.0F);
    cache.write(set, "name", 2.0F);
    EXPECT_EQ(cache.read(root, "name"), AttributeValue(1.0F));
    EXPECT_EQ(cache.read(set, "name"), AttributeValue(2.0F));
}

TEST_F(AttributeCaches, KeepsNoLongValues) {
    const IntegerArray values{std::vector<std::int64_t>(1000, 7), {1000}};
    cache.write(root, "name", values);
    recorder.requests.clear();
    EXPECT_EQ(cache.read(root, "name"), AttributeValue(values));
    EXPECT_THAT(recorder.requests, ElementsAre("get name"));
}

TEST_F(AttributeCaches, ForgetsObjectsAndNothingElseWhenThereAreMany) {
    cache.write(root, "name", 1.0F);
    for (int i = 0; i < 100; ++i) {
        cache.write(recorder.create_dataset(root, std::to_string(i), {1}), "name", 1.0F);
    }
    recorder.requests.clear();
    EXPECT_EQ(cache.read(root, "name"), AttributeValue(1.0F));
    EXPECT_THAT(recorder.requests, ElementsAre("get name"));
}

} // namespace

} // namespace talvora::host

#include "plugin/host_records.h"
#include "tests/support/plugin_memory.h"
#include "tests/support/tracked_heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace talvora {
namespace {

using test_support::allocate_tracked;
using test_support::PluginSection;
using test_support::settle_tracked_blocks;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t NOISE = 0x0BAD'5EED'0BAD'5EED;

template <typename Owner>
constexpr bool IS_MOVE_ONLY =
    !std::is_copy_constructible_v<Owner> && !std::is_copy_assignable_v<Owner> &&
    std::is_nothrow_move_constructible_v<Owner> && std::is_nothrow_move_assignable_v<Owner>;
static_assert(IS_MOVE_ONLY<OwnedText> && IS_MOVE_ONLY<OwnedTextList>);
static_assert(IS_MOVE_ONLY<OwnedIntegerList> && IS_MOVE_ONLY<OwnedShape>);

char* new_text(const std::string& text) {
    void* copy = allocate_tracked(text.size() + 1, "text " + text);
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return static_cast<char*>(copy);
}

host_string make_text(const std::string& text) {
    return {NOISE, NOISE, allocate_tracked(8, "aux of " + text), new_text(text)};
}

host_list make_texts(const std::vector<std::string>& texts) {
    auto* items = static_cast<char**>(allocate_tracked(8 * texts.size() + 8, "items"));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        items[i] = new_text(texts[i]);
    }
    return {texts.size(), NOISE, nullptr, items};
}

template <typename Number>
Number* new_numbers(const std::vector<Number>& numbers) {
    auto* items = static_cast<Number*>(allocate_tracked(8 * numbers.size(), "numbers"));
    std::copy(numbers.begin(), numbers.end(), items);
    return items;
}

template <typename Record>
void expect_zero(const Record& record) {
    const Record zero{};
    EXPECT_EQ(std::memcmp(&record, &zero, sizeof record), 0);
}

TEST(HostRecords, AreZeroedOnceReleased) {
    host_string text = make_text("a");
    host_list texts = make_texts({"b", "c"});
    host_list integers{2, NOISE, allocate_tracked(1, "aux"), new_numbers<std::int64_t>({1, 2})};
    host_shape shape{2, NOISE, nullptr, new_numbers<std::uint64_t>({3, 4})};
    {
        const PluginSection section;
        release_text(text);
        release_text_list(texts);
        release_integer_list(integers);
        release_shape(shape);
    }
    expect_zero(text);
    expect_zero(texts);
    expect_zero(integers);
    expect_zero(shape);
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(HostRecords, WithoutItemsHoldNothingWhateverTheirCount) {
    host_list texts{NOISE, NOISE, allocate_tracked(8, "aux"), nullptr};
    {
        const PluginSection section;
        release_text_list(texts);
    }
    expect_zero(texts);
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(HostRecords, OfNoTextsAreReleasedWithoutLookingAtTheItems) {
    host_list texts = make_texts({}); // the items are noise
    {
        const PluginSection section;
        release_text_list(texts);
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(HostRecords, CanBeReleasedAgain) {
    host_string text = make_text("a");
    {
        const PluginSection section;
        release_text(text);
        release_text(text);
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, StartsWithoutAValueAndReadsAsEmpty) {
    const OwnedText text;
    EXPECT_FALSE(text.has_value());
    EXPECT_STREQ(text.c_str(), "");
    EXPECT_EQ(text.view(), "");
}

TEST(OwnedText, TakesItsLengthFromTheTextAlone) {
    {
        const PluginSection section;
        OwnedText text;
        *text.out() = make_text("Imu/Rate");
        EXPECT_TRUE(text.has_value());
        EXPECT_EQ(text.view(), "Imu/Rate");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, HasAValueWhenItIsPresentAndEmpty) {
    {
        const PluginSection section;
        OwnedText text;
        *text.out() = make_text("");
        EXPECT_TRUE(text.has_value());
        EXPECT_EQ(text.view(), "");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, IsReleasedOnceWhenItIsMoved) {
    {
        const PluginSection section;
        OwnedText first;
        *first.out() = make_text("a");
        OwnedText second(std::move(first));
        OwnedText third;
        *third.out() = make_text("b");
        third = std::move(second);
        EXPECT_EQ(third.view(), "a");
        EXPECT_FALSE(first.has_value());  // NOLINT(bugprone-use-after-move)
        EXPECT_FALSE(second.has_value()); // NOLINT(bugprone-use-after-move)
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, SurvivesBeingMovedToItself) {
    {
        const PluginSection section;
        OwnedText text;
        *text.out() = make_text("a");
        OwnedText& same = text;
        text = std::move(same);
        EXPECT_EQ(text.view(), "a");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, IsReleasedBeforeItIsFilledAgain) {
    {
        const PluginSection section;
        OwnedText text;
        *text.out() = make_text("a");
        expect_zero(*text.out());
        *text.out() = make_text("b");
        EXPECT_EQ(text.view(), "b");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedText, IsReleasedWhenAnExceptionPasses) {
    try {
        const PluginSection section;
        OwnedText text;
        *text.out() = make_text("a");
        throw std::runtime_error("on the way");
    } catch (const std::runtime_error&) {
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedTextList, GivesItsTextsInOrder) {
    {
        const PluginSection section;
        OwnedTextList texts;
        *texts.out() = make_texts({"a", "bc", ""});
        EXPECT_TRUE(texts.has_value());
        ASSERT_EQ(texts.size(), 3U);
        EXPECT_STREQ(texts[0], "a");
        EXPECT_STREQ(texts[1], "bc");
        EXPECT_STREQ(texts[2], "");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedTextList, ReadsATextThatIsNullAsEmpty) {
    {
        const PluginSection section;
        OwnedTextList texts;
        *texts.out() = make_texts({"a"});
        OwnedTextList holed;
        auto* items = static_cast<char**>(allocate_tracked(16, "items"));
        items[0] = nullptr;
        items[1] = new_text("b");
        *holed.out() = {2, NOISE, nullptr, items};
        EXPECT_STREQ(holed[0], "");
        EXPECT_STREQ(holed[1], "b");
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedTextList, TellsAnAbsentListFromAnEmptyOne) {
    {
        const PluginSection section;
        OwnedTextList absent;
        *absent.out() = {NOISE, NOISE, nullptr, nullptr};
        EXPECT_FALSE(absent.has_value());
        EXPECT_EQ(absent.size(), 0U);
        OwnedTextList empty;
        *empty.out() = make_texts({});
        EXPECT_TRUE(empty.has_value());
        EXPECT_EQ(empty.size(), 0U);
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedIntegerList, GivesItsValuesOrNoneWhenItIsAbsent) {
    {
        const PluginSection section;
        OwnedIntegerList integers;
        *integers.out() = {3, NOISE, nullptr, new_numbers<std::int64_t>({-1, 0, 7})};
        EXPECT_THAT(integers.values(), ElementsAre(-1, 0, 7));
        *integers.out() = {NOISE, NOISE, allocate_tracked(8, "aux"), nullptr};
        EXPECT_THAT(integers.values(), IsEmpty());
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedShape, GivesItsExtents) {
    {
        const PluginSection section;
        OwnedShape shape;
        *shape.out() = {3, NOISE, allocate_tracked(8, "aux"),
                        new_numbers<std::uint64_t>({4, 1, 100})};
        EXPECT_EQ(shape.rank(), 3U);
        EXPECT_THAT(shape.extents(), ElementsAre(4, 1, 100));
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

TEST(OwnedShape, IsReleasedWhenItHasNoDimensions) {
    {
        const PluginSection section;
        OwnedShape shape;
        *shape.out() = {0, NOISE, nullptr, new_numbers<std::uint64_t>({9})};
        EXPECT_THAT(shape.extents(), IsEmpty());
    }
    EXPECT_THAT(settle_tracked_blocks(), IsEmpty());
}

} // namespace
} // namespace talvora

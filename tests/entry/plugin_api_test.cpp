// The library's one function, the two descriptors behind it, their texts.

#include "tests/support/plugin_under_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <map>
#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

constexpr std::int32_t DESCRIPTOR = 0;
constexpr std::int32_t UNIT_TABLE = 3;
constexpr std::size_t LEGACY_COUNT = 6;

struct ExpectedRow {
    const char* name;
    const char* description; // null for a legacy identifier
};

constexpr std::array<ExpectedRow, 15> ROWS{{
    {"signal.set-downsample", nullptr},
    {"signal.set-fill-gap", nullptr},
    {"signal.set-butterworth", nullptr},
    {"signal.set-baseline-offset", nullptr},
    {"signal.set-opposite", nullptr},
    {"signal.set-rectify", nullptr},
    {"orvane.signal.extract-set-maximum-extrema", "Extract the maximum on each component"},
    {"orvane.signal.apply-set-downsample", "Downsample the signal in place"},
    {"orvane.signal.apply-set-fill-gap", "Fill gap the signal in place"},
    {"orvane.signal.apply-set-butterworth", "Apply a Butterworth filter in place on the signal"},
    {"orvane.signal.apply-set-baseline-offset",
     "Compute a baseline offset from the signal and remove it in place"},
    {"orvane.signal.apply-set-opposite", "Opposite the signal in place"},
    {"orvane.signal.apply-set-rectify", "Rectify the signal in place"},
    {"orvane.signal.average-set", "Average all samples of the signal"},
    {"orvane.signal.average-set-2",
     "Average all samples of the signal and output to a single data set"},
}};

UnitRow plugin_descriptor() {
    std::uint32_t count = 0;
    return {static_cast<const unsigned char*>(call_plugin_entry(&count, DESCRIPTOR))};
}

std::vector<unsigned char> bytes_of_table() {
    std::uint32_t count = 0;
    const auto* first = static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE));
    return {first, first + count * UNIT_STRIDE};
}

TEST(PluginApi, GivesOneDescriptorForKindZero) {
    std::uint32_t count = 77;
    EXPECT_NE(call_plugin_entry(&count, DESCRIPTOR), nullptr);
    EXPECT_EQ(count, 1U);
}

TEST(PluginApi, GivesFifteenUnitsForKindThree) {
    std::uint32_t count = 77;
    EXPECT_NE(call_plugin_entry(&count, UNIT_TABLE), nullptr);
    EXPECT_EQ(count, 15U);
}

TEST(PluginApi, GivesNothingForOtherKindsAndLeavesTheCountAlone) {
    for (const std::int32_t kind :
         {1, 2, 4, 5, 6, 256, 259, 65536, -1, -3, std::numeric_limits<std::int32_t>::max(),
          std::numeric_limits<std::int32_t>::min()}) {
        std::uint32_t count = 0xABCD'1234;
        EXPECT_EQ(call_plugin_entry(&count, kind), nullptr) << kind;
        EXPECT_EQ(count, 0xABCD'1234U) << kind;
    }
}

TEST(PluginApi, WritesNoMoreThanTheThirtyTwoBitsOfTheCount) {
    for (const std::int32_t kind : {DESCRIPTOR, UNIT_TABLE}) {
        std::array<std::uint32_t, 2> words{0, 0xABCD'1234};
        call_plugin_entry(words.data(), kind);
        EXPECT_EQ(words[1], 0xABCD'1234U);
    }
}

TEST(PluginApi, TellsWhoThePluginIs) {
    const UnitRow plugin = plugin_descriptor();
    EXPECT_EQ(plugin.text_at(0), "kpl-talvra.signal");
    EXPECT_EQ(plugin.text_at(8), "Orvane Solution inc.");
    EXPECT_EQ(plugin.text_at(16), "0.7.0");
    EXPECT_EQ(plugin.text_at(24), "Callable units to do signal processing on data");
    EXPECT_EQ(plugin.text_at(32), "https://www.orvane.example/");
}

TEST(PluginApi, KeepsTheRestOfThePluginDescriptorAtZero) {
    const UnitRow plugin = plugin_descriptor();
    EXPECT_TRUE(std::all_of(plugin.bytes + 40, plugin.bytes + UNIT_STRIDE,
                            [](unsigned char byte) { return byte == 0; }));
}

TEST(PluginApi, ListsTheUnitsInOrder) {
    const std::vector<UnitRow> rows = unit_rows();
    ASSERT_EQ(rows.size(), ROWS.size());
    for (std::size_t i = 0; i < ROWS.size(); ++i) {
        EXPECT_EQ(rows[i].text_at(NAME_OFFSET), ROWS[i].name) << i;
    }
}

TEST(PluginApi, GivesEveryUnitAVendorACategoryAndTwoOperations) {
    for (const UnitRow& row : unit_rows()) {
        EXPECT_EQ(row.text_at(VENDOR_OFFSET), "Orvane Solution inc.");
        EXPECT_EQ(row.text_at(CATEGORY_OFFSET), "Signal Processing");
        EXPECT_NE(row.operation_at(DECLARE_OFFSET), nullptr);
        EXPECT_NE(row.operation_at(RUN_OFFSET), nullptr);
    }
}

TEST(PluginApi, GivesCurrentIdentifiersAVersionAndADescriptionButNoDate) {
    const std::vector<UnitRow> rows = unit_rows();
    for (std::size_t i = LEGACY_COUNT; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].text_at(VERSION_OFFSET), "0.1.0") << i;
        EXPECT_EQ(rows[i].text_at(DESCRIPTION_OFFSET), ROWS[i].description) << i;
        EXPECT_EQ(rows[i].getter_at(DATE_OFFSET), nullptr) << i;
    }
}

TEST(PluginApi, GivesLegacyIdentifiersADateButNoVersionAndNoDescription) {
    const std::vector<UnitRow> rows = unit_rows();
    for (std::size_t i = 0; i < LEGACY_COUNT; ++i) {
        EXPECT_EQ(rows[i].text_at(DATE_OFFSET), "2024-10-15") << i;
        EXPECT_EQ(rows[i].getter_at(VERSION_OFFSET), nullptr) << i;
        EXPECT_EQ(rows[i].getter_at(DESCRIPTION_OFFSET), nullptr) << i;
    }
}

TEST(PluginApi, SharesOperationsBetweenALegacyAndACurrentIdentifier) {
    const std::vector<UnitRow> rows = unit_rows();
    for (std::size_t i = 0; i < LEGACY_COUNT; ++i) {
        const UnitRow& current = rows[i + 7];
        EXPECT_EQ(rows[i].operation_at(DECLARE_OFFSET), current.operation_at(DECLARE_OFFSET)) << i;
        EXPECT_EQ(rows[i].operation_at(RUN_OFFSET), current.operation_at(RUN_OFFSET)) << i;
    }
}

TEST(PluginApi, SharesNoOperationBetweenTwoCurrentIdentifiers) {
    std::vector<Operation> operations;
    const std::vector<UnitRow> rows = unit_rows();
    for (std::size_t i = LEGACY_COUNT; i < rows.size(); ++i) {
        for (const std::size_t offset : {DECLARE_OFFSET, RUN_OFFSET}) {
            operations.push_back(rows[i].operation_at(offset));
        }
    }
    std::sort(operations.begin(), operations.end());
    EXPECT_EQ(std::adjacent_find(operations.begin(), operations.end()), operations.end());
}

TEST(PluginApi, HasOneGetterPerDistinctText) {
    std::map<std::string, TextGetter> getter_of_text;
    const auto check = [&](const UnitRow& row, std::size_t offset) {
        const TextGetter getter = row.getter_at(offset);
        if (getter == nullptr) {
            return;
        }
        EXPECT_EQ(getter_of_text.emplace(getter(), getter).first->second, getter) << getter();
    };
    for (const std::size_t offset : {0U, 8U, 16U, 24U, 32U}) {
        check(plugin_descriptor(), offset);
    }
    for (const UnitRow& row : unit_rows()) {
        for (const std::size_t offset : {NAME_OFFSET, VENDOR_OFFSET, CATEGORY_OFFSET,
                                         VERSION_OFFSET, DESCRIPTION_OFFSET, DATE_OFFSET}) {
            check(row, offset);
        }
    }
    // Five of the plug-in, of which the vendor is shared; fifteen names, nine
    // descriptions, category, version and date of the units.
    EXPECT_EQ(getter_of_text.size(), 5U + 15 + 9 + 3);
}

TEST(PluginApi, GivesTheSameTextAddressEachTime) {
    for (const UnitRow& row : unit_rows()) {
        EXPECT_EQ(row.getter_at(NAME_OFFSET)(), row.getter_at(NAME_OFFSET)());
    }
}

TEST(PluginApi, KeepsTheReservedBytesOfEveryUnitAtZero) {
    for (const UnitRow& row : unit_rows()) {
        EXPECT_TRUE(std::all_of(row.bytes + 64, row.bytes + UNIT_STRIDE, [](unsigned char byte) {
            return byte == 0;
        })) << row.text_at(NAME_OFFSET);
    }
}

TEST(PluginApi, GivesTheSameTableAgain) {
    std::uint32_t count = 0;
    const void* first = call_plugin_entry(&count, UNIT_TABLE);
    const std::vector<unsigned char> bytes = bytes_of_table();
    const void* descriptor = call_plugin_entry(&count, DESCRIPTOR);
    EXPECT_EQ(call_plugin_entry(&count, UNIT_TABLE), first);
    EXPECT_EQ(bytes_of_table(), bytes);
    EXPECT_EQ(call_plugin_entry(&count, DESCRIPTOR), descriptor);
}

TEST(PluginApi, KeepsTheDescriptorApartFromTheTable) {
    std::uint32_t count = 0;
    const auto* table = static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE));
    const unsigned char* descriptor = plugin_descriptor().bytes;
    EXPECT_TRUE(descriptor + UNIT_STRIDE <= table ||
                descriptor >= table + ROWS.size() * UNIT_STRIDE);
}

} // namespace
} // namespace talvora::test_support

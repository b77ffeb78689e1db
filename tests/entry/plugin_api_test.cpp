// The library's one function, the two descriptors behind it, their texts.

#include "tests/support/plugin_under_test.h"
#include "tests/support/unit_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

constexpr std::int32_t DESCRIPTOR_KIND = 0;
constexpr std::int32_t UNIT_TABLE_KIND = 3;
constexpr char VENDOR[] = "Orvane Solution inc.";
constexpr char CATEGORY[] = "Signal Processing";
constexpr char UNIT_VERSION[] = "0.1.0";
constexpr char LEGACY_DATE[] = "2024-10-15";

// Of the plug-in descriptor, in the order of its fields.
constexpr std::array PLUGIN_TEXTS{"kpl-talvra.signal", VENDOR, "0.7.0",
                                  "Callable units to do signal processing on data",
                                  "https://www.orvane.example/"};

UnitRow plugin_descriptor() {
    std::uint32_t count = 0;
    return {static_cast<const unsigned char*>(call_plugin_entry(&count, DESCRIPTOR_KIND))};
}

std::vector<unsigned char> bytes_of_table() {
    std::uint32_t count = 0;
    const auto* first =
        static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE_KIND));
    return {first, first + count * UNIT_STRIDE};
}

TEST(PluginApi, GivesOneDescriptorForKindZero) {
    std::uint32_t count = 77;
    EXPECT_NE(call_plugin_entry(&count, DESCRIPTOR_KIND), nullptr);
    EXPECT_EQ(count, 1U);
}

TEST(PluginApi, GivesTheUnitsForKindThree) {
    std::uint32_t count = 77;
    EXPECT_NE(call_plugin_entry(&count, UNIT_TABLE_KIND), nullptr);
    EXPECT_EQ(count, std::size(UNIT_TABLE));
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
    for (const std::int32_t kind : {DESCRIPTOR_KIND, UNIT_TABLE_KIND}) {
        std::array<std::uint32_t, 2> words{0, 0xABCD'1234};
        call_plugin_entry(words.data(), kind);
        EXPECT_EQ(words[1], 0xABCD'1234U);
    }
}

TEST(PluginApi, TellsWhoThePluginIs) {
    const UnitRow plugin = plugin_descriptor();
    for (std::size_t i = 0; i < PLUGIN_TEXTS.size(); ++i) {
        EXPECT_EQ(plugin.text_at(8 * i), PLUGIN_TEXTS[i]);
    }
}

TEST(PluginApi, KeepsTheRestOfThePluginDescriptorAtZero) {
    const UnitRow plugin = plugin_descriptor();
    EXPECT_TRUE(std::all_of(plugin.bytes + 40, plugin.bytes + UNIT_STRIDE,
                            [](unsigned char byte) { return byte == 0; }));
}

TEST(PluginApi, ListsTheUnitsInOrder) {
    std::vector<std::string> identifiers;
    for (const UnitRow& row : unit_rows()) {
        identifiers.push_back(row.text_at(NAME_OFFSET));
    }
    std::vector<std::string> expected;
    for (const ListedUnit& unit : UNIT_TABLE) {
        expected.emplace_back(unit.identifier);
    }
    EXPECT_EQ(identifiers, expected);
}

TEST(PluginApi, GivesEveryUnitAVendorACategoryAndTwoOperations) {
    for (const UnitRow& row : unit_rows()) {
        EXPECT_EQ(row.text_at(VENDOR_OFFSET), VENDOR);
        EXPECT_EQ(row.text_at(CATEGORY_OFFSET), CATEGORY);
        EXPECT_NE(row.operation_at(DECLARE_OFFSET), nullptr);
        EXPECT_NE(row.operation_at(RUN_OFFSET), nullptr);
    }
}

TEST(PluginApi, GivesCurrentIdentifiersAVersionAndADescriptionButNoDate) {
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of == nullptr) {
            const UnitRow row = find_unit(unit.identifier);
            EXPECT_EQ(row.text_at(VERSION_OFFSET), UNIT_VERSION) << unit.identifier;
            EXPECT_EQ(row.text_at(DESCRIPTION_OFFSET), unit.description) << unit.identifier;
            EXPECT_EQ(row.getter_at(DATE_OFFSET), nullptr) << unit.identifier;
        }
    }
}

TEST(PluginApi, GivesLegacyIdentifiersADateButNoVersionAndNoDescription) {
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of != nullptr) {
            const UnitRow row = find_unit(unit.identifier);
            EXPECT_EQ(row.text_at(DATE_OFFSET), LEGACY_DATE) << unit.identifier;
            EXPECT_EQ(row.getter_at(VERSION_OFFSET), nullptr) << unit.identifier;
            EXPECT_EQ(row.getter_at(DESCRIPTION_OFFSET), nullptr) << unit.identifier;
        }
    }
}

TEST(PluginApi, SharesOperationsBetweenALegacyAndACurrentIdentifier) {
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of != nullptr) {
            const UnitRow legacy = find_unit(unit.identifier);
            const UnitRow current = find_unit(unit.alias_of);
            for (const std::size_t offset : {DECLARE_OFFSET, RUN_OFFSET}) {
                EXPECT_EQ(legacy.operation_at(offset), current.operation_at(offset))
                    << unit.identifier;
            }
        }
    }
}

TEST(PluginApi, SharesNoOperationBetweenTwoCurrentIdentifiers) {
    std::vector<Operation> operations;
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of == nullptr) {
            for (const std::size_t offset : {DECLARE_OFFSET, RUN_OFFSET}) {
                operations.push_back(find_unit(unit.identifier).operation_at(offset));
            }
        }
    }
    std::sort(operations.begin(), operations.end());
    EXPECT_EQ(std::adjacent_find(operations.begin(), operations.end()), operations.end());
}

std::set<std::string> expected_texts() {
    std::set<std::string> texts(PLUGIN_TEXTS.begin(), PLUGIN_TEXTS.end());
    texts.insert({VENDOR, CATEGORY, UNIT_VERSION, LEGACY_DATE});
    for (const ListedUnit& unit : UNIT_TABLE) {
        texts.insert(unit.identifier);
        if (unit.description != nullptr) {
            texts.insert(unit.description);
        }
    }
    return texts;
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
    std::set<std::string> texts;
    for (const auto& [text, getter] : getter_of_text) {
        texts.insert(text);
    }
    EXPECT_EQ(texts, expected_texts());
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
    const void* first = call_plugin_entry(&count, UNIT_TABLE_KIND);
    const std::vector<unsigned char> bytes = bytes_of_table();
    const void* descriptor = call_plugin_entry(&count, DESCRIPTOR_KIND);
    EXPECT_EQ(call_plugin_entry(&count, UNIT_TABLE_KIND), first);
    EXPECT_EQ(bytes_of_table(), bytes);
    EXPECT_EQ(call_plugin_entry(&count, DESCRIPTOR_KIND), descriptor);
}

TEST(PluginApi, KeepsTheDescriptorApartFromTheTable) {
    std::uint32_t count = 0;
    const auto* table =
        static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE_KIND));
    const unsigned char* descriptor = plugin_descriptor().bytes;
    EXPECT_TRUE(descriptor + UNIT_STRIDE <= table ||
                descriptor >= table + std::size(UNIT_TABLE) * UNIT_STRIDE);
}

} // namespace
} // namespace talvora::test_support

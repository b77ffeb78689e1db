// What every unit declares: signatures, order, the required flag, the result.

#include "tests/support/recording_host.h"
#include "tests/support/unit_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace talvora::test_support {

void PrintTo(const Declaration& one, std::ostream* out) {
    *out << one.signature << (one.required != 0 ? " (required)" : "");
}

namespace {

constexpr std::uint8_t OPTIONAL = 0;
constexpr std::uint8_t REQUIRED = 1;

struct Unit {
    std::string identifier;
    std::vector<Declaration> declarations;
};

// The source parameters of the in-place units, then those of the unit.
std::vector<Declaration> in_place(const std::vector<Declaration>& own) {
    std::vector<Declaration> all{{"SourceSets: list(string)", OPTIONAL},
                                 {"SourceGroup: string", OPTIONAL},
                                 {"ScanRecursive: boolean = false", OPTIONAL}};
    all.insert(all.end(), own.begin(), own.end());
    return all;
}

const std::vector<Unit>& units() {
    static const std::vector<Unit> UNITS{
        {"orvane.signal.apply-set-rectify", in_place({})},
        {"orvane.signal.apply-set-opposite",
         in_place({{"Axis: integer = -1", OPTIONAL}, {"Components: list(integer)", OPTIONAL}})},
        {"orvane.signal.apply-set-baseline-offset", in_place({{"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-downsample", in_place({{"HintGroup: string", OPTIONAL},
                                                         {"HintSet: string", OPTIONAL},
                                                         {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-fill-gap", in_place({{"MaxGapLength: integer", OPTIONAL},
                                                       {"HintMaxGapLength: number", OPTIONAL},
                                                       {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-butterworth",
         in_place({{"CutoffFrequency: number", REQUIRED},
                   {"Order: integer", REQUIRED},
                   {"Bandform: string = \"ZeroLagLowPass\"", OPTIONAL},
                   {"BandWidth: number = 0.0", OPTIONAL},
                   {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.extract-set-maximum-extrema",
         {{"SourceGroup: string", REQUIRED},
          {"DestinationGroup: string", REQUIRED},
          {"NamesFilter: list(string)", OPTIONAL},
          {"MetricFilter: string", OPTIONAL},
          {"OverwriteIfGreater: boolean = false", OPTIONAL}}},
        {"orvane.signal.average-set",
         {{"SourceGroup: string", REQUIRED},
          {"DestinationGroup: string", REQUIRED},
          {"NamesFilter: list(string)", OPTIONAL},
          {"MetricFilter: string", OPTIONAL},
          {"Axis: integer = -1", OPTIONAL}}},
        {"orvane.signal.average-set-2",
         {{"SourceGroup: string", REQUIRED},
          {"DestinationSet: string", REQUIRED},
          {"NamesFilter: list(string)", OPTIONAL},
          {"MetricFilter: string", OPTIONAL},
          {"TranslationMap: list(string)", OPTIONAL}}},
    };
    return UNITS;
}

void PrintTo(const Unit& unit, std::ostream* out) {
    *out << unit.identifier;
}

std::string case_name(const ::testing::TestParamInfo<Unit>& info) {
    return as_test_name(info.param.identifier);
}

class UnitParameters : public ::testing::TestWithParam<Unit> {};

INSTANTIATE_TEST_SUITE_P(All, UnitParameters, ::testing::ValuesIn(units()), case_name);

TEST_P(UnitParameters, AreDeclaredInOrderWithTheirRequiredFlags) {
    RecordingHost host;
    EXPECT_EQ(host.declare(GetParam().identifier).declarations, GetParam().declarations);
}

TEST_P(UnitParameters, HandBackTheLastResultWithAllItsBits) {
    RecordingHost host;
    constexpr std::uint64_t FIRST[] = {0x8000'0001'7FFF'FF00, 0xFFFF'FFFF'0000'0000, 0x100};
    for (const std::uint64_t first : FIRST) {
        const std::uint64_t last = first + GetParam().declarations.size() - 1;
        EXPECT_EQ(host.declare(GetParam().identifier, first).result, last);
    }
}

TEST_P(UnitParameters, AreDeclaredThroughTheContextTableAlone) {
    RecordingHost host;
    host.declare(GetParam().identifier);
    EXPECT_THAT(host.interface_requests(), ::testing::Each(4));
    EXPECT_THAT(host.calls(), ::testing::IsEmpty());
}

TEST(UnitParameterList, IsTheSameUnderALegacyIdentifier) {
    RecordingHost host;
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of != nullptr) {
            EXPECT_EQ(host.declare(unit.identifier).declarations,
                      host.declare(unit.alias_of).declarations);
        }
    }
}

TEST(UnitParameterList, CoversEveryCurrentIdentifier) {
    std::set<std::string> covered;
    for (const Unit& unit : units()) {
        covered.insert(unit.identifier);
    }
    std::set<std::string> current;
    for (const ListedUnit& unit : UNIT_TABLE) {
        if (unit.alias_of == nullptr) {
            current.insert(unit.identifier);
        }
    }
    EXPECT_EQ(covered, current);
}

} // namespace
} // namespace talvora::test_support

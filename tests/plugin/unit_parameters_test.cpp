// What every unit declares: signatures, order, the required flag, the result.

#include "tests/support/recording_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
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
    std::string legacy_identifier; // empty when there is none
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
        {"orvane.signal.apply-set-rectify", "signal.set-rectify", in_place({})},
        {"orvane.signal.apply-set-opposite", "signal.set-opposite",
         in_place({{"Axis: integer = -1", OPTIONAL}, {"Components: list(integer)", OPTIONAL}})},
        {"orvane.signal.apply-set-baseline-offset", "signal.set-baseline-offset",
         in_place({{"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-downsample", "signal.set-downsample",
         in_place({{"HintGroup: string", OPTIONAL},
                   {"HintSet: string", OPTIONAL},
                   {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-fill-gap", "signal.set-fill-gap",
         in_place({{"MaxGapLength: integer", OPTIONAL},
                   {"HintMaxGapLength: number", OPTIONAL},
                   {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.apply-set-butterworth", "signal.set-butterworth",
         in_place({{"CutoffFrequency: number", REQUIRED},
                   {"Order: integer", REQUIRED},
                   {"Bandform: string = \"ZeroLagLowPass\"", OPTIONAL},
                   {"BandWidth: number = 0.0", OPTIONAL},
                   {"Axis: integer = -1", OPTIONAL}})},
        {"orvane.signal.extract-set-maximum-extrema",
         "",
         {{"SourceGroup: string", REQUIRED},
          {"DestinationGroup: string", REQUIRED},
          {"NamesFilter: list(string)", OPTIONAL},
          {"MetricFilter: string", OPTIONAL},
          {"OverwriteIfGreater: boolean = false", OPTIONAL}}},
        {"orvane.signal.average-set",
         "",
         {{"SourceGroup: string", REQUIRED},
          {"DestinationGroup: string", REQUIRED},
          {"NamesFilter: list(string)", OPTIONAL},
          {"MetricFilter: string", OPTIONAL},
          {"Axis: integer = -1", OPTIONAL}}},
        {"orvane.signal.average-set-2",
         "",
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
    std::string name = info.param.identifier;
    for (char& letter : name)
        if (letter == '.' || letter == '-')
            letter = '_';
    return name;
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
    for (const Unit& unit : units())
        if (!unit.legacy_identifier.empty()) {
            EXPECT_EQ(host.declare(unit.legacy_identifier).declarations, unit.declarations);
        }
}

TEST(UnitParameterList, CoversAllFifteenIdentifiers) {
    std::size_t count = 0;
    for (const Unit& unit : units())
        count += unit.legacy_identifier.empty() ? 1U : 2U;
    EXPECT_EQ(count, 15U);
}

} // namespace
} // namespace talvora::test_support

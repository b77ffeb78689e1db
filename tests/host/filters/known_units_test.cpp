// What the host knows about single units, and that a unit needs none of it.
#include "host/filters/known_units.h"
#include "host/interface/unit_run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Signatures = std::vector<ParameterSignature>;

Signatures parse(std::initializer_list<const char*> optional,
                 std::initializer_list<const char*> required = {}) {
    Signatures signatures;
    for (const char* text : optional) {
        signatures.push_back(parse_signature(text, false));
    }
    for (const char* text : required) {
        signatures.push_back(parse_signature(text, true));
    }
    return signatures;
}

Unit make_unit(const char* name) {
    Unit unit;
    unit.name = name;
    return unit;
}

// ---------------------------------------------------------------------------
// The table

TEST(KnownUnits, AreKnownByBothTheirIdentifiers) {
    for (const char* name : {"orvane.signal.apply-set-butterworth", "signal.set-butterworth",
                             "maker.signal.apply-set-butterworth"}) {
        EXPECT_TRUE(makes_filter(make_unit(name))) << name;
    }
    EXPECT_FALSE(makes_filter(make_unit("orvane.signal.apply-set-fill-gap")));
}

TEST(KnownUnits, ChangeRatesOnce) {
    EXPECT_TRUE(changes_rates(make_unit("orvane.signal.apply-set-downsample")));
    EXPECT_TRUE(changes_rates(make_unit("signal.set-downsample")));
    EXPECT_FALSE(changes_rates(make_unit("orvane.signal.apply-set-butterworth")));
}

TEST(KnownUnits, ShowInTheirExampleWhatNoSignatureTells) {
    const Signatures signatures = parse({"SourceGroup: string"});
    const auto example = [&](const char* name) {
        return make_example(make_unit(name), signatures);
    };
    EXPECT_EQ(example("orvane.signal.apply-set-downsample"),
              "talvora-host run apply-set-downsample SourceGroup=Signals HintGroup=Reference in.h5 "
              "-o out.h5");
    EXPECT_EQ(example("signal.set-fill-gap"),
              "talvora-host run set-fill-gap SourceGroup=Signals MaxGapLength=10 in.h5 -o out.h5");
}

// A key that the plug-in renames shows here, not in the hands of a user.
TEST(KnownUnits, HaveTheKeysThatThePluginDeclares) {
    const PluginLibrary plugin(SIGNAL_PLUGIN);
    const Unit* filter = plugin.find_unit(FILTER_UNIT);
    ASSERT_NE(filter, nullptr);
    EXPECT_TRUE(makes_filter(*filter));
    const Signatures signatures = declare_unit(*filter);
    std::vector<std::string_view> keys = {SOURCE_SETS_KEY, SOURCE_GROUP_KEY, SCAN_RECURSIVE_KEY};
    keys.insert(keys.end(), FILTER_KEYS.begin(), FILTER_KEYS.end());
    for (const std::string_view key : keys) {
        EXPECT_THAT(signatures, testing::Contains(testing::Field(&ParameterSignature::key, key)));
    }
}

TEST(KnownUnits, HaveTheKeysOfSingleUnitsThatThePluginDeclares) {
    const PluginLibrary plugin(SIGNAL_PLUGIN);
    const std::pair<const char*, std::vector<std::string_view>> UNITS[] = {
        {"apply-set-baseline-offset", {AXIS_KEY}},
        {"apply-set-butterworth", {AXIS_KEY}},
        {"apply-set-downsample", {AXIS_KEY, HINT_GROUP_KEY, HINT_SET_KEY}},
        {"apply-set-opposite", {AXIS_KEY, COMPONENTS_KEY}},
        {"average-set", {NAMES_FILTER_KEY, METRIC_FILTER_KEY}}};
    for (const auto& [name, keys] : UNITS) {
        const Signatures signatures = declare_unit(*plugin.find_unit(name));
        for (const std::string_view key : keys) {
            EXPECT_THAT(signatures,
                        testing::Contains(testing::Field(&ParameterSignature::key, key)));
        }
    }
}

TEST(KnownUnits, HaveAMeaningForEveryParameterOfThePlugin) {
    const PluginLibrary plugin(SIGNAL_PLUGIN);
    for (const Unit& unit : plugin.units()) {
        for (const ParameterSignature& signature : declare_unit(unit)) {
            const ParameterFacts* facts = find_parameter_facts(unit, signature.key);
            ASSERT_NE(facts, nullptr) << unit.name << ' ' << signature.key;
            EXPECT_FALSE(facts->meaning.empty());
            EXPECT_TRUE(facts->example.empty() || read_value(signature.type, facts->example));
        }
    }
}

TEST(KnownUnits, HaveChoicesOfKeysThatThePluginDeclares) {
    const PluginLibrary plugin(SIGNAL_PLUGIN);
    for (const Unit& unit : plugin.units()) {
        const Signatures signatures = declare_unit(unit);
        for (const KeyChoice& choice : list_key_choices(unit)) {
            for (const std::string_view key : choice) {
                EXPECT_THAT(signatures,
                            testing::Contains(testing::Field(&ParameterSignature::key, key)));
            }
        }
    }
}

TEST(KnownUnits, TellWhatTheirNumbersCount) {
    const Unit gap = make_unit("signal.set-fill-gap");
    EXPECT_EQ(find_parameter_facts(gap, "MaxGapLength")->measure, "samples");
    EXPECT_EQ(find_parameter_facts(gap, "HintMaxGapLength")->measure, "s");
    const Unit filter = make_unit("orvane.signal.apply-set-butterworth");
    EXPECT_EQ(find_parameter_facts(filter, "CutoffFrequency")->measure, "Hz");
    EXPECT_EQ(find_parameter_facts(filter, "Bandwidth"), nullptr);
}

// ---------------------------------------------------------------------------
// Values

class ValuesOfKnownUnits : public testing::Test {
  protected:
    std::vector<std::string> check(const char* name, std::initializer_list<std::string> words) {
        const Unit& unit = *plugin_.find_unit(name);
        const std::vector<std::string> list = words;
        std::vector<std::string> texts;
        for (const ParameterProblem& problem :
             check_values(unit, read_parameters(declare_unit(unit), list))) {
            texts.push_back(problem.text);
        }
        return texts;
    }

    const PluginLibrary plugin_{SIGNAL_PLUGIN};
};

TEST_F(ValuesOfKnownUnits, OfFiltersFitTheBitsThatTheyTake) {
    const auto check_filter = [&](const std::string& order, const std::string& axis) {
        return check("apply-set-butterworth",
                     {"SourceGroup=A", "CutoffFrequency=5", "Order=" + order, "Axis=" + axis});
    };
    EXPECT_THAT(check_filter("2147483647", "-2147483648"), IsEmpty());
    EXPECT_THAT(
        check_filter("-4294967292", "0"),
        ElementsAre("parameter 'Order' is -4294967292, of which the unit would take the low "
                    "32 bits, 4 (allowed: -2147483648 to 2147483647)"));
    EXPECT_THAT(check_filter("4", "2147483648"),
                ElementsAre("parameter 'Axis' is 2147483648, of which the unit would take the low "
                            "32 bits, -2147483648 (allowed: -2147483648 to 2147483647)"));
    EXPECT_THAT(check("apply-set-fill-gap", {"SourceGroup=A", "MaxGapLength=4294967296"}),
                IsEmpty());
}

TEST_F(ValuesOfKnownUnits, AreOneOfTheWordsThatAreAllowed) {
    EXPECT_THAT(check("apply-set-butterworth",
                      {"SourceGroup=A", "CutoffFrequency=5", "Order=4", "Bandform=LowPass"}),
                ElementsAre("parameter 'Bandform' cannot be 'LowPass' (allowed: ZeroLagLowPass, "
                            "ZeroLagHighPass, ZeroLagBandPass, ZeroLagBandStop)"));
    for (const char* form :
         {"ZeroLagLowPass", "ZeroLagHighPass", "ZeroLagBandPass", "ZeroLagBandStop"}) {
        EXPECT_THAT(check("set-butterworth", {"SourceGroup=A", "CutoffFrequency=5", "Order=4",
                                              std::string("Bandform=") + form}),
                    IsEmpty());
    }
}

TEST_F(ValuesOfKnownUnits, AreGivenForOneOfEachTwoKeys) {
    EXPECT_THAT(check("apply-set-rectify", {}),
                ElementsAre("neither 'SourceSets' nor 'SourceGroup' is given"));
    EXPECT_THAT(check("apply-set-fill-gap", {"SourceGroup="}),
                ElementsAre("neither 'MaxGapLength' nor 'HintMaxGapLength' is given"));
    EXPECT_THAT(check("set-downsample", {"SourceSets=A", "HintSet=B"}), IsEmpty());
    EXPECT_THAT(check("average-set", {"SourceGroup=A", "DestinationGroup=B"}), IsEmpty());
}

// ---------------------------------------------------------------------------
// Units that the table does not know

TEST(UnknownUnits, AreDescribedFromTheirSignatures) {
    const Unit unit = make_unit("maker.sound.make-echo");
    const Signatures signatures =
        parse({"SourceSets: list(string)", "SourceGroup: string", "Loud: boolean = false"},
              {"Delay: number", "Times: integer", "Steps: list(integer)", "Again: boolean",
               "SourceOfNoise: string", "DestinationSet: string"});
    EXPECT_FALSE(makes_filter(unit));
    EXPECT_EQ(describe_reads(signatures),
              "data sets named by SourceSets or in the group SourceGroup, and their attributes");
    EXPECT_EQ(describe_writes(signatures),
              "DestinationSet, made when missing; the sources stay as they are");
    EXPECT_EQ(make_example(unit, signatures),
              "talvora-host run make-echo SourceGroup=Signals Delay=10 Times=2 Steps=2 Again=true "
              "SourceOfNoise=Signals DestinationSet=Results in.h5 -o out.h5");
}

TEST(UnknownUnits, AreToldNothingOfWhateverTheirNamesAre) {
    const Unit unit = make_unit("maker.signal.apply-set-butterworth");
    const Signatures signatures = parse({"Bandform: string", "SourceSets: list(string)"});
    EXPECT_EQ(find_parameter_facts(unit, "Bandform"), nullptr);
    EXPECT_THAT(list_key_choices(unit), IsEmpty());
    const std::vector<std::string> words = {"Bandform=Narrow"};
    EXPECT_THAT(check_values(unit, read_parameters(signatures, words)), IsEmpty());
}

TEST(UnknownUnits, MayDeclareNothing) {
    EXPECT_EQ(describe_reads({}), "data sets, and their attributes");
    EXPECT_EQ(describe_writes({}), "the same data sets, in place");
    EXPECT_EQ(make_example(make_unit("echo"), {}), "talvora-host run echo in.h5 -o out.h5");
}

// ---------------------------------------------------------------------------

TEST(ValueWords, AreThoseOfBooleansAndBandForms) {
    const auto words = [](const char* signature) {
        return list_value_words(parse_signature(signature, false));
    };
    EXPECT_THAT(words("Loud: boolean = false"), ElementsAre("true", "false"));
    EXPECT_THAT(words("Bandform: string"), ElementsAre("ZeroLagLowPass", "ZeroLagHighPass",
                                                       "ZeroLagBandPass", "ZeroLagBandStop"));
    EXPECT_THAT(words("Delay: number"), IsEmpty());
    EXPECT_THAT(words("DestinationSet: string"), IsEmpty());
}

} // namespace
} // namespace talvora::host

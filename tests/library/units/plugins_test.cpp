// Plug-in libraries opened, their units listed and described.
#include "tests/host/temporary_folder.h"
#include "tests/library/units/library_test.h"

#include <filesystem>
#include <fstream>
#include <map>

namespace talvora::library_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

Outcome open(const char* file) {
    talvora_plugin* plugin = reinterpret_cast<talvora_plugin*>(1);
    const Outcome outcome = run_call([&](char* error, std::size_t size) {
        return talvora_plugin_open(file, &plugin, error, size);
    });
    EXPECT_EQ(plugin, nullptr);
    talvora_plugin_close(plugin);
    return outcome;
}

talvora_unit describe(const Plugin& plugin, std::size_t index) {
    talvora_unit unit{};
    unit.struct_size = sizeof unit;
    EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_plugin_unit(plugin, index, &unit, error, size);
    }));
    return unit;
}

talvora_parameter describe(const Plugin& plugin, std::size_t unit, std::size_t index) {
    talvora_parameter parameter{};
    parameter.struct_size = sizeof parameter;
    EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_plugin_parameter(plugin, unit, index, &parameter, error, size);
    }));
    return parameter;
}

TEST(Plugins, FindsTheOneThatComesWithTheLibrary) {
    const Plugin plugin;
    EXPECT_EQ(talvora_plugin_unit_count(plugin), 15U);
    const talvora_unit unit = describe(plugin, 12);
    EXPECT_STREQ(unit.name, "apply-set-rectify");
    EXPECT_STREQ(unit.identifier, "orvane.signal.apply-set-rectify");
    EXPECT_STREQ(unit.description, "Rectify the signal in place");
    EXPECT_EQ(unit.date, nullptr);
}

TEST(Plugins, TellWhichIdentifiersAreLegacy) {
    const Plugin plugin;
    const talvora_unit unit = describe(plugin, 2);
    EXPECT_STREQ(unit.identifier, "signal.set-butterworth");
    EXPECT_STREQ(unit.name, "set-butterworth");
    EXPECT_NE(unit.date, nullptr);
    EXPECT_EQ(unit.description, nullptr);
}

// As `talvora-host describe` tells of them, and the page of the unit.
TEST(Plugins, DescribeParameters) {
    const Plugin plugin;
    const std::size_t unit = plugin.find("apply-set-downsample");
    EXPECT_EQ(plugin.find("orvane.signal.apply-set-downsample"), unit);
    std::vector<Words> rows;
    for (std::size_t i = 0; i < describe(plugin, unit).parameter_count; ++i) {
        const talvora_parameter parameter = describe(plugin, unit, i);
        rows.push_back({parameter.key, parameter.type,
                        parameter.default_value == nullptr ? "none" : parameter.default_value,
                        parameter.is_required != 0 ? "required" : ""});
    }
    EXPECT_THAT(rows,
                testing::UnorderedElementsAre(ElementsAre("SourceSets", "list(string)", "none", ""),
                                              ElementsAre("SourceGroup", "string", "none", ""),
                                              ElementsAre("ScanRecursive", "boolean", "false", ""),
                                              ElementsAre("HintGroup", "string", "none", ""),
                                              ElementsAre("HintSet", "string", "none", ""),
                                              ElementsAre("Axis", "integer", "-1", "")));
}

// As the terminal does, and the unit's page.
TEST(Plugins, SayWhatParametersMean) {
    const Plugin plugin;
    const std::size_t unit = plugin.find("apply-set-butterworth");
    std::map<std::string, Words> found;
    const auto text_of = [](const char* text) { return std::string(text == nullptr ? "" : text); };
    for (std::size_t i = 0; i < describe(plugin, unit).parameter_count; ++i) {
        const talvora_parameter parameter = describe(plugin, unit, i);
        found[parameter.key] = {text_of(parameter.meaning), text_of(parameter.measure),
                                text_of(parameter.allowed)};
    }
    EXPECT_THAT(found["CutoffFrequency"],
                ElementsAre("the edge, of a band form the centre of the band", "Hz", "above 0"));
    EXPECT_THAT(
        found["Bandform"],
        ElementsAre("which frequencies are let through", "",
                    "one of ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass, ZeroLagBandStop"));
    EXPECT_THAT(found["SourceGroup"], ElementsAre("a group whose data sets are all taken", "", ""));
    EXPECT_STREQ(describe(plugin, unit).choices, "SourceSets or SourceGroup has to be given");
    EXPECT_STREQ(describe(plugin, plugin.find("apply-set-downsample")).choices,
                 "SourceSets or SourceGroup has to be given; HintGroup or HintSet has to be given");
    EXPECT_EQ(describe(plugin, plugin.find("average-set")).choices, nullptr);
}

// What they mean would be a guess.
TEST(Plugins, SayNothingOfTheParametersOfOthers) {
    const Plugin plugin(TROUBLE_PLUGIN);
    std::size_t parameter_count = 0;
    for (std::size_t unit = 0; unit < talvora_plugin_unit_count(plugin); ++unit) {
        EXPECT_EQ(describe(plugin, unit).choices, nullptr);
        for (std::size_t i = 0; i < describe(plugin, unit).parameter_count; ++i) {
            const talvora_parameter parameter = describe(plugin, unit, i);
            EXPECT_EQ(parameter.meaning, nullptr);
            EXPECT_EQ(parameter.measure, nullptr);
            EXPECT_EQ(parameter.allowed, nullptr);
            ++parameter_count;
        }
    }
    EXPECT_GT(parameter_count, 0U);
}

TEST(Plugins, NameWhatIsNearestToAUnitThatThereIsNot) {
    const Plugin plugin;
    std::size_t index = 7;
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_plugin_find_unit(plugin, "apply-set-rectifi", &index, error, size);
              }),
              (Outcome{TALVORA_NOT_FOUND,
                       "no unit 'apply-set-rectifi'; did you mean 'apply-set-rectify'?"}));
    EXPECT_EQ(index, 7U);
}

TEST(Plugins, RefusePositionsBeyondTheLast) {
    const Plugin plugin;
    talvora_unit unit{};
    unit.struct_size = sizeof unit;
    EXPECT_EQ(
        run_call([&](char* error, std::size_t size) {
            return talvora_plugin_unit(plugin, 15, &unit, error, size);
        }),
        (Outcome{TALVORA_NOT_FOUND, "there is no unit 15: the plug-in has 15, counted from 0"}));
    talvora_parameter parameter{};
    parameter.struct_size = sizeof parameter;
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_plugin_parameter(plugin, 12, 99, &parameter, error, size);
              }).status,
              TALVORA_NOT_FOUND);
}

TEST(Plugins, RefuseWhatIsNone) {
    const host::TemporaryFolder folder;
    const std::string text = (folder.path() / "text.so").string();
    std::ofstream(text) << "no library";
    EXPECT_EQ(open("/nowhere/x.so"),
              (Outcome{TALVORA_PLUGIN_ERROR, "/nowhere/x.so: no such plug-in library"}));
    const Outcome of_text = open(text.c_str());
    EXPECT_EQ(of_text.status, TALVORA_PLUGIN_ERROR);
    EXPECT_THAT(of_text.error, HasSubstr("text.so: cannot be loaded: "));
    EXPECT_EQ(open(FAULTY_PLUGINS "/no_entry.so").status, TALVORA_PLUGIN_ERROR);
}

TEST(Plugins, AnswerToNothing) {
    EXPECT_EQ(talvora_plugin_unit_count(nullptr), 0U);
    talvora_plugin_close(nullptr);
    talvora_unit unit{};
    unit.struct_size = sizeof unit;
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_plugin_unit(nullptr, 0, &unit, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "plugin is NULL"}));
    EXPECT_EQ(run_call([](char* error, std::size_t size) {
                  return talvora_plugin_open(nullptr, nullptr, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "plugin is NULL"}));
}

TEST(Plugins, AskForTheSizeOfTheCallersStructure) {
    const Plugin plugin;
    talvora_unit unit{};
    EXPECT_THAT(run_call([&](char* error, std::size_t size) {
                    return talvora_plugin_unit(plugin, 0, &unit, error, size);
                }).error,
                HasSubstr("struct_size of unit is 0"));
}

// The list of docs/guards.md begins and ends so.
TEST(GuardNames, ComeOneByOne) {
    EXPECT_STREQ(talvora_guard_name(0), "unusable-filter");
    std::size_t count = 0;
    while (talvora_guard_name(count) != nullptr) {
        EXPECT_THAT(talvora_guard_description(talvora_guard_name(count)),
                    testing::Not(testing::StrEq("")));
        ++count;
    }
    EXPECT_GT(count, 1U);
    EXPECT_STREQ(talvora_guard_name(count - 1), "nothing-done");
    EXPECT_STREQ(talvora_guard_description("nothing-done"),
                 "the step changed no sample and made nothing that holds any");
    EXPECT_EQ(talvora_guard_description("nothing"), nullptr);
    EXPECT_EQ(talvora_guard_description(nullptr), nullptr);
    EXPECT_EQ(talvora_guard_name(static_cast<std::size_t>(-1)), nullptr);
}

} // namespace
} // namespace talvora::library_test

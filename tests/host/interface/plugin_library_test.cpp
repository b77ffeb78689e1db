#include "host/interface/plugin_library.h"
#include "tests/host/temporary_folder.h"
#include "tests/support/unit_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <iterator>
namespace talvora::host {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

std::filesystem::path sample(const std::string& fault) {
    return std::filesystem::path(FAULTY_PLUGINS) / (fault + ".so");
}

// One line that names the file and the reason.
void expect_refused(const std::filesystem::path& file, const std::string& reason) {
    EXPECT_THAT([&] { PluginLibrary library(file); },
                ThrowsMessage<PluginError>(
                    AllOf(HasSubstr(file.string()), HasSubstr(reason), Not(HasSubstr("\n")))));
}

TEST(PluginLibraries, ReadsBothTables) {
    const PluginLibrary library(sample("good"));
    EXPECT_EQ(library.info().name, "sample");
    ASSERT_EQ(library.units().size(), 3U);
    const Unit& unit = library.units()[0];
    EXPECT_EQ(unit.name, "maker.area.first-unit");
    EXPECT_EQ(unit.version, "1.0.0");
    EXPECT_EQ(unit.description, "Negates the sets of a group");
    EXPECT_FALSE(unit.date.has_value());
    EXPECT_FALSE(library.units()[2].description.has_value());
    EXPECT_EQ(library.units()[2].date, "2020-02-29");
    EXPECT_TRUE(unit.run(nullptr, nullptr));
}

TEST(PluginLibraries, FindsAUnitByItsNameOrTheLastPartOfIt) {
    const PluginLibrary library(sample("good"));
    EXPECT_EQ(library.find_unit("maker.area.first-unit"), &library.units()[0]);
    EXPECT_EQ(library.find_unit("first-unit"), &library.units()[0]);
    EXPECT_EQ(library.find_unit("area.second-unit"), &library.units()[2]);
    EXPECT_EQ(library.find_unit("unit"), nullptr);
    EXPECT_EQ(library.find_unit(""), nullptr);
}

TEST(PluginLibraries, FindsNoUnitByAnAmbiguousLastPart) {
    EXPECT_EQ(PluginLibrary(sample("good")).find_unit("second-unit"), nullptr);
}

TEST(PluginLibraries, UnloadsWithTheObject) {
    const auto is_loaded = [] {
        void* library = dlopen(sample("good").c_str(), RTLD_NOLOAD | RTLD_NOW);
        if (library != nullptr) {
            dlclose(library);
        }
        return library != nullptr;
    };
    {
        const PluginLibrary library(sample("good"));
        EXPECT_TRUE(is_loaded());
    }
    EXPECT_FALSE(is_loaded());
}

TEST(PluginLibraries, RefusesWhatIsNoLibrary) {
    const TemporaryFolder folder;
    expect_refused(folder / "missing.so", "no such plug-in library");
    expect_refused(folder / "", "no such plug-in library");
    write_file(folder / "text.so", "text");
    expect_refused(folder / "text.so", "cannot be loaded");
}

TEST(PluginLibraries, RefusesALibraryWithoutTheEntry) {
    expect_refused(sample("no_entry"), "it has no function 'talvora_plugin_api'");
}

TEST(PluginLibraries, RefusesFaultyTables) {
    expect_refused(sample("no_descriptor"), "gives no table for kind 0");
    expect_refused(sample("no_units"), "gives no table for kind 3");
    expect_refused(sample("count_not_written"), "counts 0 rows for kind 3");
    expect_refused(sample("too_many_units"), "counts 4294967295 rows for kind 3");
    expect_refused(sample("no_plugin_name"), "the plug-in descriptor has no name");
    expect_refused(sample("null_unit_name"), "unit 1 has no name");
    expect_refused(sample("empty_unit_name"), "unit 1 has the empty name");
    expect_refused(sample("no_declare"),
                   "unit 0 'maker.samples.negate-group' has no operation 'declare'");
    expect_refused(sample("no_run"), "has no operation 'run'");
    expect_refused(sample("same_name_twice"), "has two units 'maker.samples.negate-group'");
    expect_refused(sample("throws_at_entry"), "threw an exception");
}

TEST(PluginLibraries, LoadsTheSignalPlugin) {
    const PluginLibrary library(SIGNAL_PLUGIN);
    EXPECT_EQ(library.info().version, "0.7.0");
    ASSERT_EQ(library.units().size(), std::size(test_support::UNIT_TABLE));
    EXPECT_EQ(library.units()[0].date, "2024-10-15");
    EXPECT_EQ(library.find_unit("apply-set-rectify"), &library.units()[12]);
}

TEST(PluginLibraries, FindTheUnitThatALegacyIdentifierStandsFor) {
    const PluginLibrary library(SIGNAL_PLUGIN);
    const Unit& legacy = library.units()[5];
    const Unit& current = library.units()[12];
    EXPECT_EQ(find_current_unit(library, legacy), &current);
    EXPECT_EQ(find_current_unit(library, current), nullptr);
    EXPECT_TRUE(has_same_operations(legacy, current));
    EXPECT_FALSE(has_same_operations(library.units()[4], current));
}

} // namespace

} // namespace talvora::host

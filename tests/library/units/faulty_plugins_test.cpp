// Plug-in libraries with one fault each: a status, and never a crash of this library's.
#include "tests/library/units/library_test.h"

namespace talvora::library_test {
namespace {

using testing::HasSubstr;

struct Fault {
    const char* name;
    talvora_status status; // of the first call that it shows in
    const char* part;      // of its sentence
};

void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

std::string name_fault(const testing::TestParamInfo<Fault>& info) {
    return info.param.name;
}

std::string file_of(const Fault& fault) {
    return std::string(FAULTY_PLUGINS "/") + fault.name + ".so";
}

// ---------------------------------------------------------------------------

class FaultyTables : public testing::TestWithParam<Fault> {};

TEST_P(FaultyTables, AreRefusedWhenOpened) {
    talvora_plugin* plugin = nullptr;
    const Outcome outcome = run_call([&](char* error, std::size_t size) {
        return talvora_plugin_open(file_of(GetParam()).c_str(), &plugin, error, size);
    });
    EXPECT_EQ(outcome.status, GetParam().status) << outcome.error;
    EXPECT_THAT(outcome.error, HasSubstr(GetParam().part));
    EXPECT_EQ(plugin, nullptr);
    talvora_plugin_close(plugin);
}

INSTANTIATE_TEST_SUITE_P(
    Each, FaultyTables,
    testing::Values(Fault{"no_entry", TALVORA_PLUGIN_ERROR, "no function 'talvora_plugin_api'"},
                    Fault{"throws_at_entry", TALVORA_PLUGIN_ERROR, "threw an exception"},
                    Fault{"no_descriptor", TALVORA_PLUGIN_ERROR, "no table"},
                    Fault{"no_units", TALVORA_PLUGIN_ERROR, "no table"},
                    Fault{"too_many_units", TALVORA_PLUGIN_ERROR, "rows"},
                    Fault{"empty_unit_name", TALVORA_PLUGIN_ERROR, "empty name"},
                    Fault{"null_unit_name", TALVORA_PLUGIN_ERROR, "no name"},
                    Fault{"no_plugin_name", TALVORA_PLUGIN_ERROR, "no name"},
                    Fault{"same_name_twice", TALVORA_PLUGIN_ERROR, "two units"},
                    Fault{"no_declare", TALVORA_PLUGIN_ERROR, "no operation 'declare'"},
                    Fault{"no_run", TALVORA_PLUGIN_ERROR, "no operation 'run'"}),
    name_fault);

// ---------------------------------------------------------------------------

class FaultyDeclarations : public testing::TestWithParam<Fault> {};

TEST_P(FaultyDeclarations, AreToldWhenTheUnitIsAskedFor) {
    const Plugin plugin(file_of(GetParam()));
    talvora_unit unit{};
    unit.struct_size = sizeof unit;
    const Outcome described = run_call([&](char* error, std::size_t size) {
        return talvora_plugin_unit(plugin, 0, &unit, error, size);
    });
    EXPECT_EQ(described.status, GetParam().status);
    EXPECT_THAT(described.error, HasSubstr(GetParam().part));
    Tree tree;
    EXPECT_EQ(tree.run_at(plugin, 0, {}), described);
}

INSTANTIATE_TEST_SUITE_P(Each, FaultyDeclarations,
                         testing::Values(Fault{"bad_signature", TALVORA_PLUGIN_ERROR, "signature"},
                                         Fault{"same_key_twice", TALVORA_PLUGIN_ERROR, "twice"},
                                         Fault{"narrow_answer", TALVORA_PLUGIN_ERROR,
                                               "'declare' returns"}),
                         name_fault);

// ---------------------------------------------------------------------------

class FaultyRuns : public testing::TestWithParam<Fault> {};

TEST_P(FaultyRuns, LeaveTheTreeAsItWas) {
    const Plugin plugin(file_of(GetParam()));
    Tree tree;
    tree.add_signal("Signals/A", {1, 1, 4}, {1, -2, 3, -4});
    tree.add_signal("Signals/B", {2, 2}, {1, -2, 3, -4});
    expect_unchanged(
        tree, [&] { return tree.run_at(plugin, 0, {"SourceGroup=Signals"}); }, GetParam().status,
        GetParam().part);
}

INSTANTIATE_TEST_SUITE_P(
    Each, FaultyRuns,
    testing::Values(
        Fault{"throws", TALVORA_PLUGIN_ERROR, "'run' broke off: out of luck"},
        Fault{"fails_silently", TALVORA_UNIT_FAILED, "negate-group: failed without a message"},
        Fault{"calls_unused_slot", TALVORA_PLUGIN_ERROR, "negate-group: broke the interface: "},
        Fault{"asks_outside", TALVORA_UNIT_FAILED, "negate-group: refused: read_samples: "},
        Fault{"used_record", TALVORA_PLUGIN_ERROR, "not zeroed"},
        Fault{"null_message_text", TALVORA_PLUGIN_ERROR, "null text"},
        Fault{"uses_null_name", TALVORA_PLUGIN_ERROR, "null text"}),
    name_fault);

// Without a fault, for what is expected of the others to tell.
TEST(GoodPlugin, Runs) {
    const Plugin plugin(FAULTY_PLUGINS "/good.so");
    Tree tree;
    tree.add_signal("Signals/A", {1, 1, 4}, {1, -2, 3, -4});
    ASSERT_GOOD(tree.run(plugin, "maker.area.second-unit", {"SourceGroup=Signals"}));
    EXPECT_EQ(tree.read("Signals/A").samples, (Floats{-1, 2, -3, 4}));
}

// "maker.area.second-unit" and "area.second-unit".
TEST(GoodPlugin, IsAskedForWholeIdentifiersWhereNamesAreNotUnique) {
    const Plugin plugin(FAULTY_PLUGINS "/good.so");
    std::size_t index = 0;
    EXPECT_EQ(run_call([&](char* error, std::size_t size) {
                  return talvora_plugin_find_unit(plugin, "second-unit", &index, error, size);
              }),
              (Outcome{TALVORA_NOT_FOUND, "several units are called 'second-unit': name one by its "
                                          "identifier"}));
}

} // namespace
} // namespace talvora::library_test

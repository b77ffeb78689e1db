// Runs a unit of the built library, as a host would, on a host made up from the input.
#include "fuzz/boundary_invariants.h"
#include "fuzz/boundary_world.h"
#include "fuzz/finding.h"
#include "tests/support/plugin_under_test.h"

#include <exception>

namespace {

using namespace talvora::fuzz;
using namespace talvora::test_support;

std::vector<DeclaredUnit> declare_units() {
    std::vector<DeclaredUnit> units;
    for (const UnitRow& row : unit_rows()) {
        RecordingHost host;
        const std::string identifier = row.text_at(NAME_OFFSET);
        units.push_back({identifier, host.declare(identifier).declarations});
    }
    return units;
}

bool run(RecordingHost& host, const World& world) {
    try {
        furnish(host, world);
        return host.run(world.unit->identifier);
    } catch (const std::exception& error) {
        report_finding(world.unit->identifier + " threw: " + error.what());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<DeclaredUnit> units = declare_units();
    const World world = make_world({data, size}, units);

    RecordingHost first;
    const bool result = run(first, world);
    check_violations(first, world);
    check_messages(first, world, result);
    check_untouched(first, world);

    RecordingHost second;
    if (run(second, world) != result) {
        report_finding(world.unit->identifier + ": a second run gave another result");
    }
    check_violations(second, world);
    check_same(first, second);
    return 0;
}

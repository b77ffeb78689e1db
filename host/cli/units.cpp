// talvora-host units [--json]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/recipes/json_text.h"
#include "host/text/align_columns.h"

#include <memory>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

// A legacy identifier has no description of its own.
std::string describe_in_a_line(const PluginLibrary& plugin, const Unit& unit) {
    const Unit* current = find_current_unit(plugin, unit);
    return current != nullptr ? "legacy identifier of " + current->name
                              : unit.description.value_or("");
}

void print_lines(const PluginLibrary& plugin, const Console& console) {
    std::vector<std::vector<std::string>> rows;
    for (const Unit* unit : list_current_first(plugin)) {
        rows.push_back({unit->name, unit->version.value_or(unit->date.value_or("")),
                        describe_in_a_line(plugin, *unit)});
    }
    for (const std::string& line : align_columns(rows, {false, false, false})) {
        console.result(line);
    }
}

void print_json(const PluginLibrary& plugin, const Console& console) {
    auto list = nlohmann::ordered_json::array();
    for (const Unit& unit : plugin.units()) {
        const Unit* current = find_current_unit(plugin, unit);
        list.push_back({{"name", unit.name},
                        {"vendor", unit.vendor},
                        {"category", unit.category},
                        {"version", value_or_null(unit.version)},
                        {"description", value_or_null(unit.description)},
                        {"date", value_or_null(unit.date)},
                        {"current", current != nullptr ? current->name : unit.name}});
    }
    console.document(list);
}

} // namespace

void add_units_command(Command program, Session& session) {
    const auto json = std::make_shared<bool>(false);
    Command command = program.add_subcommand("units", "One line per unit of the plug-in");
    command.add_flag("--json", *json, "One JSON document");
    add_examples(command, {{"The units of the plug-in beside the program", "talvora-host units"},
                           {"Those of another plug-in, for a script",
                            "talvora-host units --plugin ./other.so --json"}});
    command.on_run([&session, json] {
        (*json ? print_json : print_lines)(session.plugin(), session.console);
    });
}

} // namespace talvora::host

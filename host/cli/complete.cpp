// talvora-host complete -- WORD ...: what the last word may become, one per line, for the
// completion of a shell; not shown in --help. The words are those behind the program's name.
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/filters/filter_design.h"
#include "host/filters/known_units.h"
#include "host/guards/guards.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"

#include <CLI/App.hpp>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

using Words = std::vector<std::string>;

// Where the last word stands.
struct Place {
    const CLI::App* command = nullptr;
    bool names_plugin = false;                // by --plugin
    Words positional_words;                   // of the command, before the last word
    const CLI::Option* open_option = nullptr; // the last word is its value
};

// The options of what stands above a command may follow it too.
std::vector<const CLI::App*> list_lineage(const CLI::App& command) {
    std::vector<const CLI::App*> lineage = {&command};
    while (const CLI::App* parent = lineage.back()->get_parent()) {
        lineage.push_back(parent);
    }
    return lineage;
}

const CLI::Option* find_option(const CLI::App& command, const std::string& word) {
    for (const CLI::App* level : list_lineage(command)) {
        if (const CLI::Option* option = level->get_option_no_throw(word)) {
            return option;
        }
    }
    return nullptr;
}

const CLI::App* find_command(const CLI::App& command, const std::string& word) {
    const auto commands = visible_commands(command);
    const auto has_name = [&](const CLI::App* child) { return child->get_name() == word; };
    const auto found = std::ranges::find_if(commands, has_name);
    return found == commands.end() ? nullptr : *found;
}

void step_over(Place& place, const std::string& word) {
    if (std::exchange(place.open_option, nullptr) != nullptr) {
        return;
    }
    if (word.starts_with('-')) {
        const std::string name = word.substr(0, word.find('='));
        const CLI::Option* option = find_option(*place.command, name);
        place.names_plugin |= option != nullptr && option->check_lname("plugin");
        const bool awaits_value = option != nullptr && takes_value(*option) && name == word;
        place.open_option = awaits_value ? option : nullptr;
    } else if (const CLI::App* child = find_command(*place.command, word)) {
        place.command = child;
    } else {
        place.positional_words.push_back(word);
    }
}

Place find_place(const CLI::App& program, std::span<const std::string> words) {
    Place place;
    place.command = &program;
    for (const std::string& word : words) {
        step_over(place, word);
    }
    return place;
}

// ---------------------------------------------------------------------------

Words list_options(const CLI::App& command) {
    Words names;
    for (const CLI::App* level : list_lineage(command)) {
        for (const CLI::Option* option : visible_options(*level)) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

Words list_commands(const CLI::App& command) {
    Words names;
    for (const CLI::App* child : visible_commands(command)) {
        names.push_back(child->get_name());
    }
    return names;
}

Words list_units(const PluginLibrary& plugin) {
    Words names;
    for (const Unit& unit : plugin.units()) {
        if (find_current_unit(plugin, unit) == nullptr) {
            names.push_back(short_name(unit));
        }
    }
    return names;
}

// "Key=" for each parameter, or "Key=value" where the word has its key already.
Words list_parameter_words(const Unit& unit, const std::string& word) {
    Words words;
    for (const ParameterSignature& signature : declare_unit(unit)) {
        const std::string start = signature.key + "=";
        if (!word.starts_with(start)) {
            words.push_back(start);
            continue;
        }
        for (const std::string& value : list_value_words(signature)) {
            words.push_back(start + value);
        }
    }
    return words;
}

// ---------------------------------------------------------------------------

// The library that is found without the line. One that the line names is not asked, for to ask
// it is to run its code: nothing may run before the line is complete and sent off.
const PluginLibrary* find_plugin(Session& session, const Place& place) {
    return place.names_plugin ? nullptr : &session.plugin();
}

// By the name that the word has in the command's help; for all others the shell offers
// files.
Words list_words(Session& session, const Place& place, const std::string& word) {
    const auto expected = positionals(*place.command);
    const std::size_t index = place.positional_words.size();
    const std::string name =
        expected.empty() ? "" : expected[std::min(index, expected.size() - 1)]->get_name();
    if (name == "BANDFORM") {
        return list_bandforms();
    }
    const bool is_of_unit = index > 0 && name == "WORDS" && expected.front()->get_name() == "UNIT";
    const PluginLibrary* plugin =
        name == "UNIT" || is_of_unit ? find_plugin(session, place) : nullptr;
    if (plugin == nullptr) {
        return {};
    }
    if (name == "UNIT") {
        return list_units(*plugin);
    }
    const Unit* unit = plugin->find_unit(place.positional_words.front());
    return unit != nullptr ? list_parameter_words(*unit, word) : Words{};
}

Words list_candidates(Session& session, const CLI::App& program, const Words& words) {
    const std::string& word = words.back();
    const Place place = find_place(program, std::span(words).first(words.size() - 1));
    if (place.open_option != nullptr) {
        return place.open_option->check_lname("accept") ? list_guards() : Words{};
    }
    if (word.starts_with('-')) {
        return list_options(*place.command);
    }
    const Words commands = list_commands(*place.command);
    return commands.empty() ? list_words(session, place, word) : commands;
}

void print_candidates(Session& session, const CLI::App& program, const Words& words) {
    for (const std::string& candidate : list_candidates(session, program, words)) {
        if (candidate.starts_with(words.back())) {
            session.console.result(candidate);
        }
    }
}

} // namespace

void add_complete_command(Command program, Session& session) {
    const auto words = std::make_shared<Words>();
    Command command = program.add_subcommand("complete", "What the last word may become");
    command.hide();
    command.add_option("WORDS", *words, "Behind --, the words typed so far").required();
    command.on_run(
        [program, &session, words] { print_candidates(session, program.app(), *words); });
}

} // namespace talvora::host

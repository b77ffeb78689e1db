// talvora-host complete [--after WORD ...] -- WORD ...: what the last word may become, one per
// line, for the completion of a shell; not shown in --help. The words are those behind the
// program's name, up to the cursor and after it.
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/read_apart.h"
#include "host/filters/filter_design.h"
#include "host/filters/known_units.h"
#include "host/guards/guards.h"
#include "host/interface/parameter_places.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"
#include "host/maps/map_reader.h"
#include "host/runs/input_files.h"
#include "host/text/ascii.h"
#include "host/text/control_characters.h"
#include "host/tree/line_names.h"
#include "host/tree/named_objects.h"
#include "host/tree/number_attribute.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

struct CompletedLine {
    Words words; // up to the cursor
    Words after;
};

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

const CLI::App* find_visible_command(const CLI::App& command, const std::string& word) {
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
    } else if (const CLI::App* child = find_visible_command(*place.command, word)) {
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

Words list_subcommands(const CLI::App& command) {
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

// What a file on the line holds. It is read in a process of its own, for a short time, and what is
// wrong with it is nothing to complete.

constexpr std::chrono::seconds READING_TIME{5};

bool is_beyond_ascii(char letter) {
    return static_cast<unsigned char>(letter) >= 0x80;
}

// Other names would have to be quoted, and one of a stranger's file may hold a command.
bool is_safe(const std::string& path) {
    constexpr std::string_view SAFE_SIGNS = "/._+-@%";
    return blank_controls(path, "") == path && std::ranges::all_of(path, [&](char letter) {
               return is_letter(letter) || is_digit(letter) || is_beyond_ascii(letter) ||
                      SAFE_SIGNS.find(letter) != std::string_view::npos;
           });
}

// `start` + path for each object of these kinds that goes on as the word does.
void print_objects(Session& session, const std::string& file, std::span<const ObjectKind> kinds,
                   const std::string& start, const std::string& word) {
    session.limits.idle_time = READING_TIME;
    try {
        read_apart(session, [&] {
            try {
                const auto tree = open_input(file);
                for (const auto& [path, kind] : list_objects(*tree, tree->root(), "")) {
                    const bool is_wanted = std::ranges::find(kinds, kind) != kinds.end();
                    if (is_wanted && is_safe(path) && (start + path).starts_with(word)) {
                        session.console.result_line(start + path);
                    }
                }
            } catch (const std::exception&) { // nothing to offer
            }
        });
    } catch (const std::exception&) { // the reading broke off
    }
    session.exit_code = ExitCode::Done;
}

// "walk.h5::Im"
bool print_places(Session& session, const std::string& word) {
    const TreePlace place = parse_tree_place(word);
    std::error_code ignored;
    if (word.find("::") == std::string::npos || !fs::is_regular_file(place.file, ignored)) {
        return false;
    }
    constexpr std::array KINDS = {ObjectKind::Group, ObjectKind::DataSet};
    print_objects(session, place.file.string(), KINDS, place.file.string() + "::", word);
    return true;
}

std::optional<std::string> find_file(const Words& words) {
    std::error_code ignored;
    const auto found = std::ranges::find_if(words, [&](const std::string& word) {
        return !is_parameter_word(word) && fs::is_regular_file(word, ignored);
    });
    return found == words.end() ? std::nullopt : std::optional(*found);
}

// "SourceGroup=Im", of the first file on the line.
bool print_named_objects(Session& session, const std::string& word, const Words& line) {
    const std::size_t equals = word.find('=');
    const auto place = is_parameter_word(word) ? named_place(word.substr(0, equals)) : std::nullopt;
    const auto file = place && !place->is_made ? find_file(line) : std::nullopt;
    if (!file) {
        return false;
    }
    const std::array kinds = {place->kind};
    print_objects(session, *file, kinds, word.substr(0, equals + 1), word);
    return true;
}

// ---------------------------------------------------------------------------

// "SampleRate=": those that the host itself reads and writes.
Words list_known_attributes() {
    Words words;
    for (const std::string_view name :
         {SAMPLE_RATE_ATTRIBUTE, START_TIME_ATTRIBUTE, LABELS_ATTRIBUTE, UNIT_ATTRIBUTE}) {
        words.push_back(fmt::format("{}=", name));
    }
    return words;
}

// The library that is found without the line. One that the line names is not asked, for to ask
// it is to run its code: nothing may run before the line is complete and sent off.
const PluginLibrary* find_plugin(Session& session, const Place& place) {
    return place.names_plugin ? nullptr : &session.plugin();
}

// The name that the word has in the command's help; the last one may stand for several.
std::string name_positional(const Place& place) {
    const auto expected = positionals(*place.command);
    const std::size_t index = place.positional_words.size();
    return expected.empty() ? "" : expected[std::min(index, expected.size() - 1)]->get_name();
}

// For all others the shell offers files.
Words list_words(Session& session, const Place& place, const std::string& word) {
    const std::string name = name_positional(place);
    if (name == "BANDFORM") {
        return list_bandforms();
    }
    if (name == "COMMAND") {
        return list_subcommands(*place.command->get_parent());
    }
    if (name == "ATTRIBUTES") {
        return list_known_attributes();
    }
    const bool is_of_unit = !place.positional_words.empty() && name == "WORDS" &&
                            positionals(*place.command).front()->get_name() == "UNIT";
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

Words list_option_values(const CLI::Option& option) {
    if (option.check_lname("accept")) {
        return list_guards();
    }
    return option.check_lname("map") ? list_shipped_maps() : Words{};
}

Words list_candidates(Session& session, const CLI::App& program, const Words& words) {
    const std::string& word = words.back();
    const Place place = find_place(program, std::span(words).first(words.size() - 1));
    if (place.open_option != nullptr) {
        return list_option_values(*place.open_option);
    }
    if (word.starts_with('-')) {
        return list_options(*place.command);
    }
    const Words commands = list_subcommands(*place.command);
    return commands.empty() ? list_words(session, place, word) : commands;
}

// Whether the command takes places in a file, and not names alone.
bool takes_places(const Place& place) {
    return place.open_option == nullptr && name_positional(place).find("::") != std::string::npos;
}

bool is_of_run(const Place& place) {
    return place.open_option == nullptr && place.command->get_name() == "run" &&
           !place.positional_words.empty();
}

void print_candidates(Session& session, const CLI::App& program, const CompletedLine& line) {
    const std::string& word = line.words.back();
    const Place place = find_place(program, std::span(line.words).first(line.words.size() - 1));
    if (takes_places(place) && print_places(session, word)) {
        return;
    }
    Words around = place.positional_words;
    around.insert(around.end(), line.after.begin(), line.after.end());
    if (is_of_run(place) && print_named_objects(session, word, around)) {
        return;
    }
    for (const std::string& candidate : list_candidates(session, program, line.words)) {
        if (candidate.starts_with(word)) {
            session.console.result(candidate);
        }
    }
}

} // namespace

void add_complete_command(Command program, Session& session) {
    const auto line = std::make_shared<CompletedLine>();
    Command command = program.add_subcommand("complete", "What the last word may become");
    command.hide();
    command.add_option("WORDS", line->words, "Behind --, the words typed so far").required();
    command.add_option("--after", line->after, "A word behind the cursor").repeatable_by_name();
    command.on_run([program, &session, line] { print_candidates(session, program.app(), *line); });
}

} // namespace talvora::host

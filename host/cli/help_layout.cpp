#include "host/cli/help_layout.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <sstream>

namespace talvora::host {
namespace {

constexpr std::size_t NAME_WIDTH = 30;
constexpr std::size_t TEXT_WIDTH = 68;

constexpr const char* PROGRAM_SECTIONS = R"(Exit codes:
  0         done
  1         a unit reported failure, or a guard refused, for at least one file
  2         usage: command, unit or parameter; nothing was opened for writing
  3         input: missing, no HDF5 file, damaged, locked, without the data set or
            group named
  4         plug-in: cannot be loaded, broke the interface, crashed
  5         output: exists, no room, no permission, not as written; or memory
            has run out, in a unit or elsewhere
  128 + N   ended by the signal N (130: interrupted, 143: terminated), with nothing
            half-made left

Environment:
  TALVORA_PLUGIN_PATH  the plug-in library, where --plugin is not given
  SOURCE_DATE_EPOCH    the time that histories record, in seconds since 1970
  NO_COLOR             when set, messages carry no colours

Examples:
  # What units there are, and what one of them takes
  talvora-host units
  talvora-host describe apply-set-fill-gap
  # A recording, with its gaps filled
  talvora-host import walk.csv -o walk.h5 --group Imu
  talvora-host run apply-set-fill-gap SourceGroup=Imu MaxGapLength=10 walk.h5 -o filled.h5)";

std::string wrap(std::string_view text) {
    std::istringstream words{std::string(text)};
    std::string wrapped;
    std::size_t column = 0;
    for (std::string word; words >> word; column += word.size() + 1) {
        if (column > 0 && column + word.size() > TEXT_WIDTH) {
            wrapped.back() = '\n';
            column = 0;
        }
        wrapped += word + " ";
    }
    return wrapped.substr(0, wrapped.empty() ? 0 : wrapped.size() - 1);
}

class HelpLayout : public CLI::Formatter {
  public:
    HelpLayout() { column_width(NAME_WIDTH); }

    std::string make_option_opts(const CLI::Option* option) const override {
        return option->get_positional() ? "" : value_label(*option);
    }
    std::string make_option_desc(const CLI::Option* option) const override {
        return wrap(describe_option(*option));
    }
    std::string make_subcommand(const CLI::App* command) const override {
        std::stringstream out;
        CLI::detail::format_help(out, command->get_display_name(true),
                                 wrap(command->get_description()), NAME_WIDTH);
        return out.str();
    }
};

bool is_visible(const CLI::App* command) {
    return !command->get_group().empty();
}

} // namespace

void set_help_layout(CLI::App& program) {
    program.set_help_flag("-h,--help", "This text");
    program.formatter(std::make_shared<HelpLayout>());
}

void add_program_sections(CLI::App& program) {
    program.footer(PROGRAM_SECTIONS);
}

void add_examples(Command command, std::initializer_list<HelpExample> examples) {
    std::string footer = "Examples:";
    for (const HelpExample& example : examples) {
        footer += fmt::format("\n  # {}\n  {}", example.purpose, example.command);
    }
    command.app().footer(footer);
}

// What is above it stands in front of its name.
std::string make_help(const CLI::App& command) {
    std::string name = command.get_name();
    for (const CLI::App* parent = command.get_parent(); parent != nullptr;
         parent = parent->get_parent()) {
        name.insert(0, parent->get_name() + " ");
    }
    return command.get_formatter()->make_help(&command, name, CLI::AppFormatMode::Normal);
}

std::string value_label(const CLI::Option& option) {
    if (!takes_value(option)) {
        return "";
    }
    if (!option.get_option_text().empty()) {
        return " " + option.get_option_text();
    }
    return option.get_type_name().starts_with("TEXT") ? " TEXT" : " N";
}

std::string describe_option(const CLI::Option& option) {
    const std::string standard = option.get_default_str();
    return option.get_description() +
           (standard.empty() ? "" : fmt::format(" (default {})", standard)) +
           (option.get_required() && !option.get_positional() ? " (required)" : "");
}

std::vector<const CLI::App*> visible_commands(const CLI::App& command) {
    return command.get_subcommands(is_visible);
}

std::vector<const CLI::Option*> visible_options(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) {
        return !option->get_positional() && !option->get_group().empty();
    });
}

std::vector<const CLI::Option*> positionals(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() != 0;
}

} // namespace talvora::host

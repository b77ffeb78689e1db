// What a command takes: words and options, each read into a variable of the command's. The
// headers of the option library that does it are long to compile, so that library is known to
// command_options.cpp, to what puts the program together (command_line.cpp), and to what describes
// commands (help_layout.h) alone.
//
// Command and Option stand for what the program owns, and are copied freely.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace talvora::host {

class Option {
  public:
    explicit Option(CLI::Option& option) : option_(&option) {}

    // What stands for the value in the help: "FILE".
    Option& value_name(const std::string& name);
    Option& required();
    // Of a file or a folder: not empty.
    Option& path();
    // Whole numbers from least to greatest alone.
    Option& within(std::int64_t least, std::int64_t greatest);
    // The help tells what the variable holds now.
    Option& show_default();
    // Of a list: given again it takes further values. Words behind a value are values, too.
    Option& repeatable();
    // Of a list: as above, but the word behind a value is none.
    Option& repeatable_by_name();
    // Not given together with the other.
    Option& excludes(const Option& other);
    // Not in the help.
    Option& hide();

  private:
    CLI::Option* option_;
};

class Command {
  public:
    explicit Command(CLI::App& app) : app_(&app) {}

    // `names` is "-o,--output", or "FILE" for a word. The variables outlive the command: texts,
    // numbers, and lists of them; those that need not be given as std::optional.
    template <typename Value>
    Option add_option(const std::string& names, Value& variable,
                      const std::string& description = "");
    Option add_flag(const std::string& names, bool& variable, const std::string& description);
    Command add_subcommand(const std::string& name, const std::string& description);

    // Called when the words of the command line are read; throws what goes wrong.
    void on_run(std::function<void()> work);
    // One of its own commands has to follow.
    void require_subcommand();
    // Not in the help.
    void hide();

    CLI::App& app() const { return *app_; }

  private:
    CLI::App* app_;
};

} // namespace talvora::host

// talvora-host help [COMMAND ...]: what COMMAND --help says.
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/text/nearest_text.h"

#include <CLI/App.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Words = std::vector<std::string>;

Words list_names(const CLI::App& command) {
    Words names;
    std::ranges::transform(visible_commands(command), std::back_inserter(names),
                           [](const CLI::App* child) { return child->get_name(); });
    return names;
}

const CLI::App& find_command(const CLI::App& parent, const std::string& name) {
    for (const CLI::App* child : visible_commands(parent)) {
        if (child->get_name() == name) {
            return *child;
        }
    }
    const auto nearest = find_nearest(name, list_names(parent));
    throw Failure(ExitCode::Usage, fmt::format("no command '{}'", name),
                  {nearest ? fmt::format("did you mean '{}'?  talvora-host --help", *nearest)
                           : "list them: talvora-host --help"});
}

} // namespace

void add_help_command(Command program, Session& session) {
    const auto words = std::make_shared<Words>();
    Command command = program.add_subcommand("help", "What a command does and takes");
    command.add_option("COMMAND", *words, "The command (else the program)");
    add_examples(command, {{"The program", "talvora-host help"},
                           {"One command", "talvora-host help run"},
                           {"A command of a command", "talvora-host help recipe check"}});
    command.on_run([program, &session, words] {
        const CLI::App* asked = &program.app();
        for (const std::string& word : *words) {
            asked = &find_command(*asked, word);
        }
        std::string text = make_help(*asked);
        text.erase(text.find_last_not_of('\n') + 1);
        session.console.result(text);
    });
}

} // namespace talvora::host

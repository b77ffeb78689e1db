// talvora-host manual FOLDER: the manual pages, for the build; not shown in --help.
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/man_page.h"
#include "host/cli/printed_files.h"

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <string>

namespace talvora::host {
namespace {

void write_page(const Console& console, const CLI::App& command,
                const std::filesystem::path& folder) {
    const std::filesystem::path file = folder / (man_page_name(command) + ".1");
    write_text_file(console, file.string(), {.replace = true},
                    [&](const TextSink& send) { send(make_man_page(command)); });
}

void write_pages(const Console& console, const CLI::App& program,
                 const std::filesystem::path& folder) {
    write_page(console, program, folder);
    for (const CLI::App* command : visible_commands(program)) {
        write_page(console, *command, folder);
    }
}

} // namespace

void add_manual_command(Command program, Session& session) {
    const auto folder = std::make_shared<std::string>();
    Command command = program.add_subcommand("manual", "Writes the manual pages to a folder");
    command.hide();
    command.add_option("FOLDER", *folder, "The folder, which exists").path().required();
    command.on_run(
        [program, &session, folder] { write_pages(session.console, program.app(), *folder); });
}

} // namespace talvora::host

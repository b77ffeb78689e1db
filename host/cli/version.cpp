// talvora-host version
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

// The program's own version needs no plug-in; one that cannot be loaded is an error
// all the same, after the program's line.
void print_version(Session& session) {
    session.console.result(fmt::format("talvora-host {}", TALVORA_VERSION));
    const PluginInfo& info = session.plugin().info();
    session.console.result(
        fmt::format("{} {}, {}, {}", info.name, info.version, info.vendor, info.web_address));
    session.console.result(fmt::format("loaded from {}", session.plugin().file().string()));
}

} // namespace

void add_version_command(Command program, Session& session) {
    Command command =
        program.add_subcommand("version", "The versions of the program and of the plug-in");
    add_examples(command,
                 {{"Both versions, and where the plug-in was found", "talvora-host version"}});
    command.on_run([&session] { print_version(session); });
}

} // namespace talvora::host

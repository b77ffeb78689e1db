// Manual pages, made of what a command tells with --help.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace talvora::host {

// "talvora-host" for the program, "talvora-host-run" for a command of it.
std::string man_page_name(const CLI::App& command);

// The page of the program or of one of its commands, in roff with the `man` macros;
// commands below a command are sections of its page.
std::string make_man_page(const CLI::App& command);

} // namespace talvora::host

// The command line of the reference host: the commands and the options that they share.
#pragma once

#include "host/text/failure.h"

namespace talvora::host {

// Does what the arguments ask for, as main receives them; messages go to standard error.
// What a command throws becomes messages and the exit code.
ExitCode run_command_line(int argument_count, char** arguments);

} // namespace talvora::host

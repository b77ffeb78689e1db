#include "host/cli/command_line.h"

// NOLINTNEXTLINE(bugprone-exception-escape): without memory to start there is none to tell
int main(int argument_count, char** arguments) {
    return static_cast<int>(talvora::host::run_command_line(argument_count, arguments));
}

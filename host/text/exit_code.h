// What the caller of the program is told by its exit code.
#pragma once

namespace talvora::host {

// Explained to users in the program's help (host/cli/help_layout.cpp) and in README.md.
enum class ExitCode : int {
    Done = 0,
    UnitFailed = 1, // a unit reported failure, or a guard refused, for at least one file
    Usage = 2,      // command, unit, parameter; nothing was opened for writing
    Input = 3,      // missing, not HDF5, damaged, locked, no such data set
    Plugin = 4,     // cannot be loaded, broke the interface, crashed
    Output = 5,     // exists, no room, no permission, check after writing failed; no memory left
};

} // namespace talvora::host

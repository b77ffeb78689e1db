// How a command fails: what went wrong, in one sentence complete in itself, at most
// two hints on what to do, and what the caller of the program is told by its exit
// code.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {

enum class ExitCode : int {
    Done = 0,
    UnitFailed = 1, // a unit reported failure for at least one file
    Usage = 2,      // command, unit, parameter; nothing was opened for writing
    Input = 3,      // missing, not HDF5, damaged, locked, no such data set
    Plugin = 4,     // cannot be loaded, broke the interface, crashed
    Output = 5,     // exists, no room, no permission, check after writing failed; no memory left
};

class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& text, std::vector<std::string> hints = {})
        : std::runtime_error(text), code_(code), hints_(std::move(hints)) {}

    ExitCode code() const { return code_; }
    const std::vector<std::string>& hints() const { return hints_; }

  private:
    ExitCode code_;
    std::vector<std::string> hints_;
};

} // namespace talvora::host

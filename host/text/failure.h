// How a command fails: what went wrong, in one sentence complete in itself, at most two hints on
// what to do, and the exit code.
#pragma once

#include "host/text/exit_code.h"

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {

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

// Thrown where a guard (host/guards/guards.h) speaks in the middle of a step's work, which it
// breaks off: the text says what would mislead, without the names of file, step and guard.
class GuardFailure : public Failure {
  public:
    GuardFailure(std::string guard, const std::string& text, std::vector<std::string> hints = {})
        : Failure(ExitCode::UnitFailed, text, std::move(hints)), guard_(std::move(guard)) {}

    const std::string& guard() const { return guard_; }

  private:
    std::string guard_;
};

} // namespace talvora::host

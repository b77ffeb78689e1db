// What comes of a job: what is said on the way, and what was done.
#pragma once

#include "host/guards/guard_finding.h"
#include "host/text/failure.h"
#include "host/text/message_level.h"
#include "host/tree/observed_tree.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

struct JobMessage {
    MessageLevel level = MessageLevel::Info;
    std::string text;
    std::optional<std::string> step = {}; // whose unit or filter it is about
};

// Receives each message as it comes. It must not throw: units send messages too.
using TellMessage = std::function<void(const JobMessage& message)>;

// How far the work on a file has come.
struct SampleCount {
    std::uint64_t count = 0; // samples worked on since the last one
    double share = 0.0;      // of the file's steps that is done, from 0 to 1
};

// Called a few times a second while samples are read or written.
using TellSamples = std::function<void(const SampleCount& samples)>;

// A step that was run to its end.
struct StepResult {
    std::string name;
    std::string unit; // identifier
    std::vector<SetObservation> sets;
    nlohmann::ordered_json filters; // as the history has them
};

struct JobResult {
    ExitCode exit_code = ExitCode::Done;
    bool written = false; // the output was made
    bool skipped = false; // an earlier run had made it
    std::vector<StepResult> steps;
    std::vector<GuardFinding> guards = {}; // all that spoke, of each step, accepted ones too
};

} // namespace talvora::host

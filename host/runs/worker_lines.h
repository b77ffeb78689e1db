// What a worker has to say, as lines of text on the way to its parent. Each is one JSON
// document; `--json` prints messages and results in the same form.
#pragma once

#include "host/runs/job_result.h"

#include <nlohmann/json.hpp>

#include <string>
#include <variant>

namespace talvora::host {

using WorkerNews = std::variant<JobMessage, SampleCount, JobResult>;

// Without a line end. Bytes that are no UTF-8 are replaced.
std::string encode_line(const WorkerNews& news);
// Throws std::exception for a line that encode_line does not make.
WorkerNews decode_line(const std::string& line);

//     level   "error", "warning", "info", "hint", "detail"
//     step    where the message is about one
//     text
nlohmann::ordered_json make_json(const JobMessage& message);

//     exit_code, written, skipped
//     steps   name, unit, sets and filters as in the history
//     guards  that spoke, as in the history, those too that were not accepted
nlohmann::ordered_json make_json(const JobResult& result);

} // namespace talvora::host

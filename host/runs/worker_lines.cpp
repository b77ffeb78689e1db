#include "host/runs/worker_lines.h"

#include "host/recipes/json_text.h"
#include "host/recipes/run_history.h"

#include <optional>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* MESSAGE = "message";
constexpr const char* SAMPLES = "samples";
constexpr const char* SHARE = "share";
constexpr const char* RESULT = "result";

Json wrap(const JobMessage& message) {
    return {{MESSAGE, make_json(message)}};
}

Json wrap(const SampleCount& samples) {
    return {{SAMPLES, samples.count}, {SHARE, samples.share}};
}

Json wrap(const JobResult& result) {
    return {{RESULT, make_json(result)}};
}

Json make_step(const StepResult& step) {
    return {{"name", step.name},
            {"unit", step.unit},
            {"sets", make_sets_json(step.sets)},
            {"filters", step.filters}};
}

// ---------------------------------------------------------------------------

// A rate that JSON has no number for has become null.
std::optional<double> parse_rate(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional(json.get<double>());
}

std::optional<std::uint64_t> parse_count(const Json& json) {
    return json.is_null() ? std::nullopt : std::optional(json.get<std::uint64_t>());
}

SetState parse_state(const Json& json) {
    return {.extents = json.at("shape").get<Extents>(),
            .sample_rate = parse_rate(json.at("rate")),
            .missing_count = json.at("missing").get<std::uint64_t>(),
            .gap_count = json.at("gaps").get<std::uint64_t>()};
}

SetObservation parse_set(const Json& json) {
    const Json& before = json.at("before");
    return {.path = json.at("path").get<std::string>(),
            .read = json.at("read").get<bool>(),
            .written = json.at("written").get<bool>(),
            .before = before.is_null() ? std::nullopt : std::optional(parse_state(before)),
            .after = parse_state(json.at("after")),
            .filled_gap_count = parse_count(json.at("gaps_filled"))};
}

StepResult parse_step(const Json& json) {
    StepResult step{.name = json.at("name").get<std::string>(),
                    .unit = json.at("unit").get<std::string>(),
                    .sets = {},
                    .filters = json.at("filters")};
    for (const Json& set : json.at("sets")) {
        step.sets.push_back(parse_set(set));
    }
    return step;
}

JobResult parse_result(const Json& json) {
    JobResult result{.exit_code = ExitCode{json.at("exit_code").get<int>()},
                     .written = json.at("written").get<bool>(),
                     .skipped = json.at("skipped").get<bool>(),
                     .steps = {}};
    for (const Json& step : json.at("steps")) {
        result.steps.push_back(parse_step(step));
    }
    for (const Json& guard : json.at("guards")) {
        result.guards.push_back(parse_finding(guard));
    }
    return result;
}

JobMessage parse_message(const Json& json) {
    JobMessage message{.level = find_level(json.at("level").get<std::string>()).value(),
                       .text = json.at("text").get<std::string>()};
    if (json.contains("step")) {
        message.step = json.at("step").get<std::string>();
    }
    return message;
}

} // namespace

std::string encode_line(const WorkerNews& news) {
    const Json json = std::visit([](const auto& kind) { return wrap(kind); }, news);
    return format_json(json);
}

WorkerNews decode_line(const std::string& line) {
    const Json json = Json::parse(line);
    if (json.contains(SAMPLES)) {
        return SampleCount{json.at(SAMPLES).get<std::uint64_t>(), json.at(SHARE).get<double>()};
    }
    if (json.contains(RESULT)) {
        return parse_result(json.at(RESULT));
    }
    return parse_message(json.at(MESSAGE));
}

Json make_json(const JobMessage& message) {
    Json json = {{"level", level_name(message.level)}};
    if (message.step) {
        json["step"] = *message.step;
    }
    json["text"] = message.text;
    return json;
}

Json make_json(const JobResult& result) {
    Json steps = Json::array();
    for (const StepResult& step : result.steps) {
        steps.push_back(make_step(step));
    }
    Json guards = Json::array();
    for (const GuardFinding& finding : result.guards) {
        guards.push_back(make_json(finding));
    }
    return {{"exit_code", static_cast<int>(result.exit_code)},
            {"written", result.written},
            {"skipped", result.skipped},
            {"steps", steps},
            {"guards", guards}};
}

} // namespace talvora::host

#include "host/cli/run_report.h"

#include "host/text/plural.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>
#include <utility>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

std::uint64_t count_samples(const Json& shape) {
    return std::accumulate(shape.begin(), shape.end(), std::uint64_t{1},
                           [](std::uint64_t count, const Json& extent) {
                               return count * extent.get<std::uint64_t>();
                           });
}

ExitCode exit_code(const Json& result) {
    return static_cast<ExitCode>(result.at("exit_code").get<int>());
}

std::string first_error(std::span<const Json> messages) {
    const auto error = std::ranges::find_if(
        messages, [](const Json& message) { return message.at("level") == "error"; });
    return error != messages.end() ? error->at("text").get<std::string>() : "";
}

} // namespace

std::string describe_set_change(const Json& set) {
    const Json& before = set.at("before");
    const Json& after = set.at("after");
    std::string text = fmt::format("{}: {}", set.at("path").get<std::string>(),
                                   count_things(count_samples(after.at("shape")), "sample"));
    if (after.at("rate").is_number()) {
        text += fmt::format(" at {:.6g} Hz", after.at("rate").get<double>());
    }
    const auto missing = after.at("missing").get<std::uint64_t>();
    text += before.is_null() ? fmt::format(", new, {} missing", missing)
                             : fmt::format(", missing {} before, {} after",
                                           before.at("missing").get<std::uint64_t>(), missing);
    if (!set.at("gaps_filled").is_null()) {
        text += fmt::format(", gaps {} filled, {} left", set.at("gaps_filled").get<std::uint64_t>(),
                            after.at("gaps").get<std::uint64_t>());
    }
    return text;
}

RunReport::RunReport(const Console& console, std::span<const Job> jobs, RunReportOptions options)
    : console_(console), jobs_(jobs), options_(std::move(options)), files_(jobs.size()) {}

void RunReport::add_message(std::size_t index, const Json& message) {
    files_[index].messages.push_back(message);
    print_what_is_due();
}

void RunReport::set_result(std::size_t index, const Json& result) {
    files_[index].result = result;
}

void RunReport::finish(std::size_t index, std::string_view reason) {
    File& file = files_[index];
    if (file.result.is_null()) {
        const std::string text = fmt::format("{}: {}", jobs_[index].input.string(), reason);
        file.messages.push_back({{"level", "error"}, {"text", text}});
        file.result = {{"exit_code", static_cast<int>(ExitCode::Plugin)},
                       {"written", false},
                       {"skipped", false},
                       {"steps", Json::array()}};
    }
    file.finished = true;
    worst_ = std::max(worst_, exit_code(file.result));
    print_what_is_due();
}

void RunReport::print_what_is_due() {
    for (; next_ < files_.size(); ++next_) {
        print_messages(next_);
        if (!files_[next_].finished) {
            return;
        }
        print_result(next_);
    }
}

void RunReport::print_messages(std::size_t index) {
    File& file = files_[index];
    for (; file.printed_count < file.messages.size(); ++file.printed_count) {
        print_message(index, file.messages[file.printed_count]);
    }
}

void RunReport::print_message(std::size_t index, const Json& message) const {
    using Print = void (Console::*)(std::string_view) const;
    static constexpr std::pair<const char*, Print> LEVELS[] = {{"error", &Console::error},
                                                               {"warning", &Console::warning},
                                                               {"info", &Console::info},
                                                               {"hint", &Console::hint},
                                                               {"detail", &Console::detail}};
    std::string text = message.at("text");
    if (message.contains("step")) {
        text = fmt::format("{}: {}: {}", jobs_[index].input.string(),
                           message.at("step").get<std::string>(), text);
    }
    for (const auto& [level, print] : LEVELS) {
        if (message.at("level") == level) {
            (console_.*print)(text);
        }
    }
}

void RunReport::print_result(std::size_t index) const {
    const Job& job = jobs_[index];
    const Json& result = files_[index].result;
    if (options_.json) {
        Json line = {{"file", job.input.string()}, {"output", job.output.string()}};
        line.update(result);
        line["messages"] = files_[index].messages;
        console_.json_line(line);
        return;
    }
    if (exit_code(result) != ExitCode::Done) {
        return;
    }
    const char* what = result.at("skipped").get<bool>() ? "had been written"
                       : options_.dry_run               ? "could be written"
                                                        : "written";
    console_.report_done(fmt::format("{}: {} {} by {}", job.input.string(), job.output.string(),
                                     what, options_.worked_by));
    for (const Json& step : result.at("steps")) {
        for (const Json& set : step.at("sets")) {
            if (set.at("written").get<bool>()) {
                console_.report_done("  " + describe_set_change(set));
            }
        }
    }
}

std::vector<std::string> RunReport::failed_files() const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (exit_code(files_[i].result) != ExitCode::Done) {
            names.push_back(jobs_[i].input.string());
        }
    }
    return names;
}

void RunReport::print_failures() const {
    if (files_.size() < 2 || worst_ == ExitCode::Done) {
        return;
    }
    std::vector<std::vector<std::string>> rows = {{"file", "exit code", "first error"}};
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (const ExitCode code = exit_code(files_[i].result); code != ExitCode::Done) {
            rows.push_back({jobs_[i].input.string(), fmt::format("{}", static_cast<int>(code)),
                            first_error(files_[i].messages)});
        }
    }
    console_.error(fmt::format("{} of {} files failed", rows.size() - 1, files_.size()));
    for (const std::string& line : align_columns(rows, {false, true, false})) {
        console_.note("  " + line);
    }
}

} // namespace talvora::host

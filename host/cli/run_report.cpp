#include "host/cli/run_report.h"

#include "host/runs/set_change.h"
#include "host/runs/worker_lines.h"
#include "host/system/pending_cleanup.h"
#include "host/text/align_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host {
namespace {

std::string first_error(std::span<const JobMessage> messages) {
    const auto error = std::ranges::find(messages, MessageLevel::Error, &JobMessage::level);
    return error != messages.end() ? error->text : "";
}

} // namespace

RunReport::RunReport(const Console& console, std::span<const Job> jobs, RunReportOptions options)
    : console_(console), jobs_(jobs), options_(std::move(options)), files_(jobs.size()) {}

void RunReport::add_message(std::size_t index, const JobMessage& message) {
    files_[index].messages.push_back(message);
    print_what_is_due();
}

void RunReport::set_result(std::size_t index, const JobResult& result) {
    files_[index].result = result;
}

void RunReport::finish(std::size_t index, const EarlyEnd& end) {
    File& file = files_[index];
    if (!file.result) {
        file.messages.push_back(
            {MessageLevel::Error, fmt::format("{}: {}", name(index), end.failure.what())});
        for (const std::string& hint : end.failure.hints()) {
            file.messages.push_back({MessageLevel::Hint, hint});
        }
        file.result =
            JobResult{.exit_code = end.failure.code(), .written = end.written, .steps = {}};
    }
    if (file.result->written) {
        note_file_in_place();
    }
    file.finished = true;
    worst_ = std::max(worst_, file.result->exit_code);
    print_what_is_due();
}

void RunReport::set_written(std::size_t index) {
    if (!files_[index].result) {
        files_[index].result = JobResult{.written = true, .steps = {}};
    }
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

void RunReport::print_message(std::size_t index, const JobMessage& message) const {
    console_.print(message.level, message.step ? fmt::format("{}: {}: {}", name(index),
                                                             *message.step, message.text)
                                               : message.text);
}

void RunReport::print_result(std::size_t index) const {
    const File& file = files_[index];
    if (options_.json) {
        print_json(index);
    } else if (file.result->exit_code == ExitCode::Done) {
        print_success(index);
    }
}

void RunReport::print_json(std::size_t index) const {
    const File& file = files_[index];
    nlohmann::ordered_json line = {{"file", name(index)}, {"output", jobs_[index].output.string()}};
    line.update(make_json(*file.result));
    line["messages"] = nlohmann::ordered_json::array();
    for (const JobMessage& message : file.messages) {
        line["messages"].push_back(make_json(message));
    }
    console_.json_line(line);
}

void RunReport::print_success(std::size_t index) const {
    const JobResult& result = *files_[index].result;
    const char* what = result.skipped     ? "had been written"
                       : options_.dry_run ? "could be written"
                                          : "written";
    console_.done_line(fmt::format("{}: {} {} by {}", name(index), jobs_[index].output.string(),
                                   what, options_.worked_by));
    const bool several = result.steps.size() > 1;
    for (const StepResult& step : result.steps) {
        for (const SetObservation& set : step.sets) {
            if (set.written) {
                console_.done_line(fmt::format("  {}{}", several ? step.name + ": " : "",
                                               describe_set_change(set)));
            }
        }
    }
}

std::vector<std::string> RunReport::failed_files() const {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        const auto& result = files_[i].result;
        if (!result || (result->exit_code != ExitCode::Done && !result->written)) {
            names.push_back(name(i));
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
        if (const ExitCode code = files_[i].result->exit_code; code != ExitCode::Done) {
            rows.push_back({name(i), fmt::format("{}", static_cast<int>(code)),
                            first_error(files_[i].messages)});
        }
    }
    console_.error(fmt::format("{} of {} files failed", rows.size() - 1, files_.size()));
    for (const std::string& line : align_columns(rows, {false, true, false})) {
        console_.note("  " + line);
    }
}

std::string RunReport::name(std::size_t index) const {
    return jobs_[index].input.string();
}

} // namespace talvora::host

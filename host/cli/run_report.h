// Says what comes of the files of a run, in their order whatever the order in which
// their workers end.
#pragma once

#include "host/cli/console.h"
#include "host/runs/job_plan.h"
#include "host/runs/job_result.h"
#include "host/runs/job_workers.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct RunReportOptions {
    std::string worked_by; // "written by ..."
    bool dry_run = false;
    bool json = false;
};

class RunReport {
  public:
    // All but the options is borrowed.
    RunReport(const Console& console, std::span<const Job> jobs, RunReportOptions options);

    // A message of the file at this index; its text becomes known at once when the files
    // before have ended, else after them.
    void add_message(std::size_t index, const JobMessage& message);
    void set_result(std::size_t index, const JobResult& result);
    // The file's worker has ended. What became of one without a result is told behind the file's
    // name.
    void finish(std::size_t index, const EarlyEnd& end);
    // The output of the file is in its place, though its worker may not have told.
    void set_written(std::size_t index);

    ExitCode worst() const { return worst_; }
    // Those that are yet to be done, begun or not.
    std::vector<std::string> failed_files() const;
    // With more than one file and a failure.
    void print_failures() const;

  private:
    struct File {
        std::vector<JobMessage> messages;
        std::size_t printed_count = 0;
        std::optional<JobResult> result;
        bool finished = false;
    };

    void print_what_is_due();
    void print_messages(std::size_t index);
    void print_message(std::size_t index, const JobMessage& message) const;
    void print_result(std::size_t index) const;
    void print_json(std::size_t index) const;
    void print_success(std::size_t index) const;
    std::string name(std::size_t index) const; // of the file

    const Console& console_;
    std::span<const Job> jobs_;
    RunReportOptions options_;
    std::vector<File> files_;
    std::size_t next_ = 0; // the first file that has not been printed to its end
    ExitCode worst_ = ExitCode::Done;
};

} // namespace talvora::host

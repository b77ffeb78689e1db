// How far a run has come: on a terminal a bar, in a log a line now and then.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace talvora::host {

struct ProgressState {
    std::size_t file_count = 0; // files that have ended
    std::uint64_t sample_count = 0;
    double begun_share = 0.0; // of the files in work: what is done of them, in files
};

// Decides what is to be written to standard error. Work of less than a second shows
// nothing; a bar is redrawn at most ten times a second; a log gets a line for every
// tenth of the work, within a file from the tenth second on,
// and at least every thirty seconds.
class Progress {
  public:
    using Clock = std::chrono::steady_clock;

    Progress(bool on_terminal, std::size_t total_file_count, Clock::time_point start)
        : on_terminal_(on_terminal), total_(total_file_count), start_(start), last_(start) {}

    // The text to write now; often empty.
    std::string update(const ProgressState& state, Clock::time_point now);
    // What takes the bar away, before anything else is written and at the end.
    std::string clear();

  private:
    std::string make_bar(const ProgressState& state, Clock::time_point now);
    std::string make_line(const ProgressState& state, Clock::time_point now);
    double done_share(const ProgressState& state) const; // of all files, from 0 to 1
    double rate(const ProgressState& state, Clock::time_point now) const;

    bool on_terminal_;
    std::size_t total_;
    Clock::time_point start_;
    Clock::time_point last_; // when something was written
    std::size_t last_tenth_ = 0;
    bool bar_shown_ = false;
};

} // namespace talvora::host

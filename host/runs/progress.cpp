#include "host/runs/progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host {
namespace {

using namespace std::chrono_literals;

constexpr auto QUIET_TIME = 1s;
// In a log, where what has been written stays.
constexpr auto QUIET_TIME_WITHIN_FILE = 10s;
constexpr auto TIME_BETWEEN_BARS = 100ms;
constexpr auto TIME_BETWEEN_LINES = 30s;

constexpr std::size_t BAR_WIDTH = 30;
// To the line's start, then everything right of it away.
constexpr char CLEAR_LINE[] = "\r\x1b[K";

} // namespace

std::string Progress::update(const ProgressState& state, Clock::time_point now) {
    if (now - start_ < QUIET_TIME || state.file_count >= total_) {
        return {};
    }
    return on_terminal_ ? make_bar(state, now) : make_line(state, now);
}

std::string Progress::clear() {
    return std::exchange(bar_shown_, false) ? CLEAR_LINE : "";
}

std::string Progress::make_bar(const ProgressState& state, Clock::time_point now) {
    if (now - last_ < TIME_BETWEEN_BARS) {
        return {};
    }
    last_ = now;
    bar_shown_ = true;
    const auto done = static_cast<std::size_t>(BAR_WIDTH * done_share(state));
    return fmt::format("{}[{:#<{}}{:-<{}}] {}/{} files  {:.3g} samples  {:.3g} samples/s",
                       CLEAR_LINE, "", done, "", BAR_WIDTH - done, state.file_count, total_,
                       static_cast<double>(state.sample_count), rate(state, now));
}

std::string Progress::make_line(const ProgressState& state, Clock::time_point now) {
    const bool within_file = now - start_ >= QUIET_TIME_WITHIN_FILE;
    const auto tenth = within_file ? static_cast<std::size_t>(10 * done_share(state))
                                   : 10 * state.file_count / total_;
    if (tenth == last_tenth_ && now - last_ < TIME_BETWEEN_LINES) {
        return {};
    }
    last_ = now;
    last_tenth_ = tenth;
    return fmt::format("progress: {} of {} files, {} %, {:.3g} samples, {:.3g} samples/s\n",
                       state.file_count, total_, static_cast<int>(100 * done_share(state)),
                       static_cast<double>(state.sample_count), rate(state, now));
}

double Progress::done_share(const ProgressState& state) const {
    return (static_cast<double>(state.file_count) + state.begun_share) /
           static_cast<double>(total_);
}

double Progress::rate(const ProgressState& state, Clock::time_point now) const {
    const double seconds = std::chrono::duration<double>(now - start_).count();
    return static_cast<double>(state.sample_count) / std::max(seconds, 1e-9);
}

} // namespace talvora::host

// Sees how a worker process gets on.
#pragma once

#include "host/system/work_state.h"

#include <chrono>
#include <cstdint>
#include <sys/types.h>

namespace talvora::host {

// A worker's state, in memory that parent and child see.
class SharedWorkState {
  public:
    // Throws a Failure of the output when there is no memory for it.
    SharedWorkState();
    SharedWorkState(const SharedWorkState&) = delete;
    SharedWorkState& operator=(const SharedWorkState&) = delete;
    SharedWorkState(SharedWorkState&& other) noexcept;
    SharedWorkState& operator=(SharedWorkState&& other) noexcept;
    ~SharedWorkState();

    WorkState& operator*() const { return *state_; }
    WorkState* operator->() const { return state_; }

  private:
    WorkState* state_;
};

// How long a worker has not got on, counted where it should: in a file, or stopped.
class IdleTime {
  public:
    using Duration = std::chrono::steady_clock::duration;

    explicit IdleTime(pid_t process) : process_(process) {}

    // To be called from time to time, with the time since the last call.
    void add(const WorkState& state, Duration time);
    Duration total() const { return idle_; }
    bool is_stopped() const { return is_stopped_; }

  private:
    bool has_progressed(const WorkState& state);

    pid_t process_;
    Duration idle_{};
    bool is_stopped_ = false;
    std::uint64_t call_count_ = 0;
    std::uint64_t byte_count_ = 0;
};

} // namespace talvora::host

#include "host/runs/worker_watch.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <fstream>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <utility>

namespace talvora::host {
namespace {

// Of a child that still is there.
bool has_stopped(pid_t process) {
    siginfo_t news{};
    return waitid(P_PID, static_cast<id_t>(process), &news, WSTOPPED | WNOHANG | WNOWAIT) == 0 &&
           news.si_pid == process;
}

// Read or written, by calls into the system and on the disk: a long call shows in the latter.
// Where the system does not count, the sum stays zero.
std::uint64_t count_bytes(pid_t process) {
    std::ifstream counts(fmt::format("/proc/{}/io", process));
    std::uint64_t sum = 0;
    std::string name;
    std::uint64_t count = 0;
    while (counts >> name >> count) {
        sum += name.ends_with("char:") || name.ends_with("_bytes:") ? count : 0;
    }
    return sum;
}

} // namespace

SharedWorkState::SharedWorkState() : state_(nullptr) {
    void* const shared =
        mmap(nullptr, sizeof(WorkState), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw Failure(ExitCode::Output, fmt::format("no further process can be started: {}",
                                                    std::generic_category().message(errno)));
    }
    state_ = new (shared) WorkState;
}

SharedWorkState::SharedWorkState(SharedWorkState&& other) noexcept
    : state_(std::exchange(other.state_, nullptr)) {}

SharedWorkState& SharedWorkState::operator=(SharedWorkState&& other) noexcept {
    std::swap(state_, other.state_);
    return *this;
}

SharedWorkState::~SharedWorkState() {
    if (state_ != nullptr) {
        munmap(state_, sizeof(WorkState));
    }
}

void IdleTime::add(const WorkState& state, Duration time) {
    is_stopped_ = has_stopped(process_);
    const bool counts = is_stopped_ || state.code == CodeAtWork::File;
    idle_ = counts && !has_progressed(state) ? idle_ + time : Duration{};
}

bool IdleTime::has_progressed(const WorkState& state) {
    const bool by_calls = std::exchange(call_count_, state.call_count) != call_count_;
    const bool by_bytes = std::exchange(byte_count_, count_bytes(process_)) != byte_count_;
    return by_calls || by_bytes;
}

} // namespace talvora::host

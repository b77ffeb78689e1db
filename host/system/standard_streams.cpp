#include "host/system/standard_streams.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace talvora::host {
namespace {

bool is_open(int stream) {
    return fcntl(stream, F_GETFD) != -1;
}

// Open the wrong way round: reading from standard input fails, writing to the others does.
int wrong_way(int stream) {
    return stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
}

// SIGPIPE would end the program. One that came while it was held back is taken away.
class PipeSignalHeldBack {
  public:
    PipeSignalHeldBack() {
        sigemptyset(&signal_);
        sigaddset(&signal_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signal_, &before_);
    }
    PipeSignalHeldBack(const PipeSignalHeldBack&) = delete;
    PipeSignalHeldBack& operator=(const PipeSignalHeldBack&) = delete;
    ~PipeSignalHeldBack() {
        const timespec at_once{};
        sigtimedwait(&signal_, nullptr, &at_once);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t signal_{};
    sigset_t before_{};
};

} // namespace

// The lowest free descriptor is the one that is opened.
void hold_standard_streams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (!is_open(stream) && open("/dev/null", wrong_way(stream)) != stream) {
            throw Failure(ExitCode::Output,
                          fmt::format("/dev/null: cannot stand in for a closed stream: {}",
                                      std::generic_category().message(errno)));
        }
    }
}

void write_to_standard_error(std::string_view text) {
    const PipeSignalHeldBack held_back;
    std::fwrite(text.data(), 1, text.size(), stderr);
}

} // namespace talvora::host

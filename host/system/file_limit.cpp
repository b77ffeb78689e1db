#include "host/system/file_limit.h"

#include <atomic>
#include <csignal>
#include <sys/resource.h>

namespace talvora::host {
namespace {

std::atomic<bool> limit_was_met = false;

void note_limit(int) {
    limit_was_met = true;
}

} // namespace

// With a handler, where ignoring the signal would do: it tells this limit from that of a file
// system, and programs that are started do not inherit it.
void outlive_file_limit() {
    struct sigaction action {};
    action.sa_handler = note_limit;
    action.sa_flags = SA_RESTART;
    sigaction(SIGXFSZ, &action, nullptr);
}

std::optional<std::uint64_t> find_met_file_limit() {
    rlimit limit{};
    if (!limit_was_met || getrlimit(RLIMIT_FSIZE, &limit) != 0) {
        return std::nullopt;
    }
    return limit.rlim_cur;
}

} // namespace talvora::host

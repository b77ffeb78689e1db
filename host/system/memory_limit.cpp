#include "host/system/memory_limit.h"

#include <algorithm>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace talvora::host {
namespace {

bool is_bounded = false;

std::uint64_t own_memory() {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

void limit_memory(std::uint64_t bytes) {
    rlimit limit{};
    getrlimit(RLIMIT_AS, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, own_memory() + bytes);
    setrlimit(RLIMIT_AS, &limit);
}

void bound_memory(std::uint64_t bytes) {
    limit_memory(bytes);
    is_bounded = true;
}

bool is_memory_bounded() {
    return is_bounded;
}

} // namespace talvora::host

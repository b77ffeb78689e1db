#include "library/call_options.h"

#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>

namespace talvora::library {
namespace {

// More threads than any machine has processors for.
constexpr std::int32_t MOST_WORKERS = 1024;

void check_choice(std::int32_t value, const char* member, const char* zero, const char* one) {
    if (value != 0 && value != 1) {
        throw InvalidArgument(
            fmt::format("{} is {}; allowed are {} (0) and {} (1)", member, value, zero, one));
    }
}

} // namespace

talvora_filter_options read_options(const talvora_filter_options* options) {
    if (options == nullptr) {
        return {};
    }
    const talvora_filter_options read = read_structure(options, "the options");
    check_choice(read.missing, "missing", "TALVORA_OMIT", "TALVORA_PROPAGATE");
    check_choice(read.short_lines, "short_lines", "TALVORA_LEAVE_SHORT", "TALVORA_REFUSE_SHORT");
    if (read.workers < -1 || read.workers > MOST_WORKERS) {
        throw InvalidArgument(fmt::format("workers is {}; allowed are -1, as many as processors, "
                                          "and 0 to {}",
                                          read.workers, MOST_WORKERS));
    }
    if (read.pad < TALVORA_PAD_NONE) {
        throw InvalidArgument(fmt::format(
            "pad is {}; allowed are TALVORA_PAD_UNIT (0), TALVORA_PAD_SCIPY (-1), TALVORA_PAD_NONE "
            "(-2) and numbers of samples above 0",
            read.pad));
    }
    return read;
}

std::size_t count_workers(const talvora_filter_options& options) {
    if (options.workers < 0) {
        return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, MOST_WORKERS);
    }
    return static_cast<std::size_t>(std::max(options.workers, 1));
}

std::optional<std::size_t> choose_pad_count(talvora_pad pad, std::size_t tap_count) {
    switch (pad) {
    case TALVORA_PAD_UNIT:
        return std::nullopt;
    case TALVORA_PAD_SCIPY:
        return 3 * tap_count;
    case TALVORA_PAD_NONE:
        return 0;
    default:
        return static_cast<std::size_t>(pad);
    }
}

} // namespace talvora::library

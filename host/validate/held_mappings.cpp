#include "host/validate/held_mappings.h"

#include "host/validate/guard_pages.h"

#include <algorithm>
#include <array>
#include <span>

namespace talvora::host {

namespace {

struct Range {
    unsigned char* begin;
    unsigned char* end;
};

std::array<Range, 4096> ranges;
std::size_t range_count = 0;

// Pages are mapped whole.
Range range_of(void* begin, std::size_t byte_count) {
    const std::size_t pages = (byte_count + page_size() - 1) / page_size();
    auto* first = static_cast<unsigned char*>(begin);
    return {first, first + pages * page_size()};
}

void keep(Range range) {
    if (range.begin < range.end && range_count < ranges.size()) {
        ranges[range_count++] = range;
    }
}

} // namespace

void HeldMappings::add(void* begin, std::size_t byte_count) {
    remove(begin, byte_count);
    keep(range_of(begin, byte_count));
}

void HeldMappings::remove(void* begin, std::size_t byte_count) {
    const Range gone = range_of(begin, byte_count);
    for (std::size_t i = range_count; i-- > 0;) {
        const Range held = ranges[i];
        if (held.begin >= gone.end || gone.begin >= held.end) {
            continue;
        }
        ranges[i] = ranges[--range_count];
        keep({held.begin, std::min(held.end, gone.begin)});
        keep({std::max(held.begin, gone.end), held.end});
    }
}

std::size_t HeldMappings::byte_count() {
    std::size_t count = 0;
    for (const Range& range : std::span(ranges).first(range_count)) {
        count += static_cast<std::size_t>(range.end - range.begin);
    }
    return count;
}

} // namespace talvora::host

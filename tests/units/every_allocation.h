// A unit under every shortage of memory.
#pragma once

#include "tests/support/recording_host.h"
#include "tests/support/tracked_heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>
#include <string>

namespace talvora::test_support {

// Runs the unit on hosts made ready by `prepare`, once for each allocation that the
// unit makes, and lets that one fail. The exception must come through to the caller;
// the hosts see to it that every record was freed all the same.
inline void expect_clean_end_of_memory(const std::string& identifier,
                                       const std::function<void(RecordingHost&)>& prepare) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer's allocator refuses nothing";
    }
    std::uint64_t allocation_count = 0;
    {
        RecordingHost host;
        prepare(host);
        host.run(identifier);
        allocation_count = host.allocation_count();
    }
    ASSERT_GT(allocation_count, 0U);
    for (std::uint64_t n = 1; n <= allocation_count; ++n) {
        RecordingHost host;
        prepare(host);
        host.refuse_allocation(n);
        EXPECT_THROW(host.run(identifier), std::bad_alloc) << n;
    }
}

} // namespace talvora::test_support

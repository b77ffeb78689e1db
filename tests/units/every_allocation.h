// A unit under every shortage of memory.
#pragma once

#include "tests/support/recording_host.h"
#include "tests/support/tracked_heap.h"
#include "tests/units/sample_patterns.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>
#include <string>
#include <vector>

namespace talvora::test_support {

// Whether the run ended with the exception of an allocation. Any other fails the test.
inline bool runs_out_of_memory(RecordingHost& host, const std::string& identifier) {
    try {
        host.run(identifier);
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

// What was asked of the host, and the samples of every set that was written.
struct Outcome {
    std::vector<std::string> calls;
    std::vector<std::vector<std::uint32_t>> written;

    bool operator==(const Outcome&) const = default;
};

inline Outcome outcome_of(RecordingHost& host) {
    Outcome outcome{host.calls(), {}};
    for (const std::string& call : host.calls_of({"write_samples"})) {
        const std::size_t path = call.find(' ') + 1;
        outcome.written.push_back(
            as_bits(host.samples(call.substr(path, call.find(' ', path) - path))));
    }
    return outcome;
}

// Runs the unit on hosts made ready by `prepare`: the first allocation that it makes is
// refused, then the second, and so on until a run needs fewer. A refusal has to leave the
// run as the exception that it is, or else to make no difference at all: some of the library's
// algorithms make do without the memory that they ask for. Each host sees to it that all
// records were freed once and the unit's own memory was given back; those of runs that
// ended are shown to `look`.
inline void expect_clean_end_of_memory(const std::string& identifier,
                                       const std::function<void(RecordingHost&)>& prepare,
                                       const std::function<void(RecordingHost&)>& look) {
    std::vector<Outcome> complete;
    for (std::uint64_t n = 1;; ++n) {
        ASSERT_LT(n, 10'000U) << "no run comes to its end";
        const testing::ScopedTrace trace(__FILE__, __LINE__, "allocation " + std::to_string(n));
        RecordingHost host;
        prepare(host);
        host.refuse_allocation(n);
        if (runs_out_of_memory(host, identifier)) {
            look(host);
            continue;
        }
        complete.push_back(outcome_of(host));
        if (host.allocation_count() < n) {
            break;
        }
    }
    for (const Outcome& outcome : complete) {
        EXPECT_TRUE(outcome == complete.back()) << "a refusal changed the outcome";
    }
}

} // namespace talvora::test_support

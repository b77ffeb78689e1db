// How far the work on one file has come, by the samples that its steps read and write.
#pragma once

#include "host/runs/job_result.h"
#include "host/tree/observed_tree.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>

namespace talvora::host {

// Tells of it no more often than anybody looks. A sample that a step reads and writes, or reads
// twice, counts once in it.
class WorkMeter {
  public:
    // `tell` is borrowed.
    WorkMeter(std::size_t step_count, const TellSamples& tell)
        : step_count_(step_count), tell_(tell) {}

    // The samples that the step is expected to read and to write, a sample that it does both to
    // counting twice; 0 where that is not known: it then counts when it has ended.
    void begin_step(std::uint64_t expected_count);
    // In a tree that knows the set.
    void add(const SampleRequest& request, const DataTree& tree);
    // The steps have ended: tells what is still to be told.
    void finish();

  private:
    using Clock = std::chrono::steady_clock;

    struct Tally {
        std::uint64_t read = 0;
        std::uint64_t written = 0;
        std::uint64_t sample_count = 0; // of the set, when it was first met
    };

    void tell();
    double share() const;

    std::size_t step_count_;
    const TellSamples& tell_;
    std::size_t begun_count_ = 0; // steps
    std::uint64_t expected_count_ = 0;
    std::uint64_t passed_count_ = 0; // of the step: read and written
    std::uint64_t untold_count_ = 0;
    std::map<ObjectId, Tally> tallies_;
    Clock::time_point last_ = Clock::now();
};

} // namespace talvora::host

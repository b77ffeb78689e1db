#include "units/sample_batches.h"

#include <algorithm>
#include <limits>
#include <new>

namespace talvora::units {

namespace {

// A sum that does not fit names more memory than there can be.
std::uint64_t add_checked(std::uint64_t left, std::uint64_t right) {
    if (right > std::numeric_limits<std::uint64_t>::max() - left) {
        throw std::bad_array_new_length();
    }
    return left + right;
}

SampleBatch plan_batch(std::span<const std::uint64_t> sample_counts, std::size_t first) {
    SampleBatch batch{first, first, 0};
    while (batch.last < sample_counts.size() && batch.sample_count <= BATCH_SAMPLE_LIMIT) {
        batch.sample_count = add_checked(batch.sample_count, sample_counts[batch.last]);
        ++batch.last;
    }
    return batch;
}

} // namespace

std::vector<SampleBatch> plan_batches(std::span<const std::uint64_t> sample_counts) {
    std::vector<SampleBatch> batches;
    for (std::size_t first = 0; first < sample_counts.size(); first = batches.back().last) {
        batches.push_back(plan_batch(sample_counts, first));
    }
    return batches;
}

SampleBuffer allocate_largest_batch(std::span<const SampleBatch> batches) {
    std::uint64_t largest = 0;
    for (const SampleBatch& batch : batches) {
        largest = std::max(largest, batch.sample_count);
    }
    return largest != 0 ? SampleBuffer(largest) : SampleBuffer();
}

} // namespace talvora::units

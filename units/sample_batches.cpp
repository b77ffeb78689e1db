#include "units/sample_batches.h"

#include <algorithm>

namespace talvora::units {

namespace {

SampleBatch plan_batch(std::span<const std::uint64_t> sample_counts, std::size_t first) {
    SampleBatch batch{first, first, 0};
    while (batch.last < sample_counts.size() && batch.sample_count <= BATCH_SAMPLE_LIMIT) {
        // At most the limit and the 2^63 - 1 samples of a set: the sum fits.
        batch.sample_count += sample_counts[batch.last];
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

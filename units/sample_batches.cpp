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

std::vector<std::uint64_t> count_samples_per_set(std::span<const set_record> records) {
    std::vector<std::uint64_t> counts;
    counts.reserve(records.size());
    for (const set_record& record : records) {
        counts.push_back(count_samples(record.shape.extents()));
    }
    return counts;
}

SampleBuffer allocate_largest_batch(std::span<const SampleBatch> batches) {
    std::uint64_t largest = 0;
    for (const SampleBatch& batch : batches) {
        largest = std::max(largest, batch.sample_count);
    }
    return largest != 0 ? SampleBuffer(largest) : SampleBuffer();
}

std::vector<BatchedSet> place_batch(const SampleBatch& batch, std::span<const set_record> records,
                                    std::span<const std::uint64_t> sample_counts,
                                    std::span<float> buffer) {
    std::vector<BatchedSet> placed;
    placed.reserve(batch.last - batch.first);
    std::uint64_t position = 0;
    for (std::size_t i = batch.first; i < batch.last; ++i) {
        placed.push_back({records[i], buffer.subspan(position, sample_counts[i])});
        position += sample_counts[i];
    }
    return placed;
}

} // namespace talvora::units

// Reading, transforming and writing whole data sets in batches, so that a host sees
// one read and one write per set while the working memory stays bounded.
#pragma once

#include "plugin/set_records.h"
#include "units/sample_buffer.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvora::units {

// A set that starts further than this behind the start of its batch begins the next.
inline constexpr std::uint64_t BATCH_SAMPLE_LIMIT = 10'000'000;

// The sets [first, last) side by side, `sample_count` samples in all.
struct SampleBatch {
    std::size_t first;
    std::size_t last;
    std::uint64_t sample_count;
};

// Cuts a list of sets, given by their sample counts, into batches of at least one set
// each, in order. A batch's last set may reach beyond the limit.
std::vector<SampleBatch> plan_batches(std::span<const std::uint64_t> sample_counts);

// One set of a batch in the working buffer.
template <typename Record>
struct BatchedSet {
    const Record& record;
    std::span<float> samples;
};

// For each batch: reads every set, calls `transform(record, samples)` for every set,
// writes every set. Records are set_records. The buffer is allocated once, zeroed and
// as large as the largest batch; there is none when there are no samples.
template <typename Record, typename Transform>
void process_in_batches(std::span<const Record> records, const dataset_api& sets,
                        Transform&& transform);

// ---------------------------------------------------------------------------

template <typename Record>
std::vector<std::uint64_t> count_samples_per_set(std::span<const Record> records) {
    std::vector<std::uint64_t> counts;
    counts.reserve(records.size());
    for (const Record& record : records) {
        counts.push_back(count_samples(record.shape.extents()));
    }
    return counts;
}

SampleBuffer allocate_largest_batch(std::span<const SampleBatch> batches);

template <typename Record>
std::vector<BatchedSet<Record>>
place_batch(const SampleBatch& batch, std::span<const Record> records,
            std::span<const std::uint64_t> sample_counts, std::span<float> buffer) {
    std::vector<BatchedSet<Record>> placed;
    placed.reserve(batch.last - batch.first);
    std::uint64_t position = 0;
    for (std::size_t i = batch.first; i < batch.last; ++i) {
        placed.push_back({records[i], buffer.subspan(position, sample_counts[i])});
        position += sample_counts[i];
    }
    return placed;
}

template <typename Record, typename Transform>
void process_in_batches(std::span<const Record> records, const dataset_api& sets,
                        Transform&& transform) {
    const std::vector<std::uint64_t> sample_counts = count_samples_per_set(records);
    const std::vector<SampleBatch> batches = plan_batches(sample_counts);
    const SampleBuffer buffer = allocate_largest_batch(batches);
    for (const SampleBatch& batch : batches) {
        const auto placed = place_batch(batch, records, sample_counts, buffer.samples());
        for (const auto& [record, samples] : placed) {
            sets.read_samples(record.handle, samples.data(), record.selection.data(),
                              record.selection.size());
        }
        for (const auto& [record, samples] : placed) {
            transform(record, samples);
        }
        for (const auto& [record, samples] : placed) {
            sets.write_samples(record.handle, samples.data(), record.selection.data(),
                               record.selection.size());
        }
    }
}

} // namespace talvora::units

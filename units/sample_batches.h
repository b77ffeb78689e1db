// Reading, transforming and writing whole data sets in batches, so that a host sees
// one read and one write per set while the working memory stays bounded.
#pragma once

#include "plugin/host_tables.h"
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
struct BatchedSet {
    const set_record& record;
    std::span<float> samples;
};

// For each batch: reads every set, calls `transform(sets)` with a span of all BatchedSets of
// the batch, writes every set. The buffer is allocated once, zeroed and as large as the largest
// batch; there is none when there are no samples.
template <typename Transform>
void process_in_batches(std::span<const set_record> records, const dataset_api& sets,
                        Transform&& transform);

// ---------------------------------------------------------------------------

std::vector<std::uint64_t> count_samples_per_set(std::span<const set_record> records);

SampleBuffer allocate_largest_batch(std::span<const SampleBatch> batches);

std::vector<BatchedSet> place_batch(const SampleBatch& batch, std::span<const set_record> records,
                                    std::span<const std::uint64_t> sample_counts,
                                    std::span<float> buffer);

template <typename Transform>
void process_in_batches(std::span<const set_record> records, const dataset_api& sets,
                        Transform&& transform) {
    const std::vector<std::uint64_t> sample_counts = count_samples_per_set(records);
    const std::vector<SampleBatch> batches = plan_batches(sample_counts);
    const SampleBuffer buffer = allocate_largest_batch(batches);
    for (const SampleBatch& batch : batches) {
        const auto placed = place_batch(batch, records, sample_counts, buffer.samples());
        for (const auto& [record, samples] : placed) {
            read_samples(sets, record.handle, samples, record.selection);
        }
        transform(std::span(placed));
        for (const auto& [record, samples] : placed) {
            write_samples(sets, record.handle, samples, record.selection);
        }
    }
}

} // namespace talvora::units

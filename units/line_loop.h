// Working through a data set one line along an axis at a time.
#pragma once

#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "units/sample_buffer.h"

#include <span>

namespace talvora::units {

// The line being worked on.
struct CurrentLine {
    const dataset_api& sets;
    dataset_handle set;
    std::span<float> samples;
    std::span<const std::uint64_t> selection; // of the line in the set

    // Writes the samples back to where they were read.
    void write_back() const { write_samples(sets, set, samples, selection); }
};

// Reads each line of a set in turn and calls `work` with it. `buffer` has room for
// one line; what it holds at the first read is what the caller put there.
template <typename Work>
void for_each_line(const dataset_api& sets, dataset_handle set, AxisLines& lines,
                   const SampleBuffer& buffer, Work&& work) {
    const CurrentLine current{sets, set, buffer.samples().first(lines.line_length),
                              lines.selection};
    for (std::uint64_t line = 0; line < lines.line_count; ++line) {
        lines.select_line(line);
        read_samples(sets, set, current.samples, current.selection);
        work(current);
    }
}

} // namespace talvora::units

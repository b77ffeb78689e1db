// A data set as a signal: lines of samples over time.
//
// The samples run along the last dimension; each choice of the other indices is a line.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/line_names.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct SignalSet {
    std::string path;
    Extents extents;
    std::optional<double> sample_rate; // Hz, above 0 and finite; nothing when unknown
    double start_time = 0;             // of sample 0, in seconds
    StoredSamples samples;             // line after line
    LineNames names = {};

    std::uint64_t line_length() const { return extents.empty() ? 1 : extents.back(); }
    std::size_t line_count() const; // of the extents: also where samples were not read
    std::span<const float> line(std::size_t index) const; // of a set of floats
    // Calls with the span of a line's samples, of the type that they are stored as.
    template <typename Call>
    auto visit_line(std::size_t index, const Call& call) const {
        return std::visit(
            [&](const auto& stored) {
                return call(std::span(stored).subspan(index * line_length(), line_length()));
            },
            samples);
    }
    // The indices of a line in the dimensions that have more than one and no labels: "[2]",
    // "[0][3]", and nothing for the only line of a set.
    std::string line_indices(std::size_t index) const;
    // The short label; empty where there is none.
    const std::string& line_label(std::size_t index) const;
    // Empty where it is unknown.
    const std::string& line_unit(std::size_t index) const;
    // In seconds, or in samples where the rate is unknown.
    double time_of(std::uint64_t sample) const;

  private:
    bool is_labelled(std::size_t dimension) const;
};

// All but the samples, which are left empty.
SignalSet read_signal_head(DataTree& tree, const std::string& path);

// Reads the whole set, and its attributes SampleRate and StartTime (a number of any kind), Labels
// and Unit (line_names.h). Throws a TreeError where it cannot be read or is too large to be. The
// samples are floats, whatever they are stored as.
SignalSet read_signal_set(DataTree& tree, const std::string& path);
// The same with the samples as they are stored.
SignalSet read_stored_signal_set(DataTree& tree, const std::string& path);

} // namespace talvora::host

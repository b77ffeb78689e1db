#include "host/tree/signal_set.h"

#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <cmath>

namespace talvora::host {
namespace {

std::optional<double> read_rate(DataTree& tree, ObjectId set) {
    const auto rate = read_number_attribute(tree, set, SAMPLE_RATE_ATTRIBUTE);
    return rate && *rate > 0 && std::isfinite(*rate) ? rate : std::nullopt;
}

double read_start_time(DataTree& tree, ObjectId set) {
    const double start = read_number_attribute(tree, set, START_TIME_ATTRIBUTE).value_or(0);
    return std::isfinite(start) ? start : 0;
}

StoredSamples read_floats(DataTree& tree, ObjectId set, const Hyperslab& slab) {
    std::vector<float> samples = make_sample_room<float>(slab.counts, tree.path(set));
    tree.read(set, slab, samples);
    return samples;
}

StoredSamples read_stored(DataTree& tree, ObjectId set, const Hyperslab& slab) {
    return tree.read_stored(set, slab);
}

using ReadSamples = StoredSamples (*)(DataTree& tree, ObjectId set, const Hyperslab& slab);

// The samples first: their set is open then.
SignalSet read_signal_set(DataTree& tree, const std::string& path, ReadSamples read_samples) {
    const ObjectId id = tree.find(tree.root(), path).value();
    SignalSet set;
    set.path = path;
    set.extents = tree.extents(id);
    const Extents starts(set.extents.size(), 0);
    set.samples = read_samples(tree, id, {.starts = starts, .counts = set.extents});
    set.sample_rate = read_rate(tree, id);
    set.start_time = read_start_time(tree, id);
    set.names = read_line_names(tree, id);
    return set;
}

} // namespace

std::size_t SignalSet::line_count() const {
    return line_length() == 0 ? 0 : count_samples(extents) / line_length();
}

std::span<const float> SignalSet::line(std::size_t index) const {
    return std::span(std::get<std::vector<float>>(samples))
        .subspan(index * line_length(), line_length());
}

std::string SignalSet::line_indices(std::size_t index) const {
    std::string indices;
    for (std::size_t dimension = extents.empty() ? 0 : extents.size() - 1; dimension-- > 0;) {
        if (extents[dimension] > 1 && !is_labelled(dimension)) {
            indices = fmt::format("[{}]{}", index % extents[dimension], indices);
        }
        index /= extents[dimension];
    }
    return indices;
}

bool SignalSet::is_labelled(std::size_t dimension) const {
    return !names.short_labels.texts.empty() && names.short_labels.dimension == dimension;
}

const std::string& SignalSet::line_label(std::size_t index) const {
    return text_of_line(names.short_labels, extents, index);
}

const std::string& SignalSet::line_unit(std::size_t index) const {
    return text_of_line(names.units, extents, index);
}

double SignalSet::time_of(std::uint64_t sample) const {
    const auto position = static_cast<double>(sample);
    return sample_rate ? start_time + position / *sample_rate : position;
}

SignalSet read_signal_head(DataTree& tree, const std::string& path) {
    const ObjectId id = tree.find(tree.root(), path).value();
    return {path, tree.extents(id),         read_rate(tree, id), read_start_time(tree, id),
            {},   read_line_names(tree, id)};
}

SignalSet read_signal_set(DataTree& tree, const std::string& path) {
    return read_signal_set(tree, path, read_floats);
}

SignalSet read_stored_signal_set(DataTree& tree, const std::string& path) {
    return read_signal_set(tree, path, read_stored);
}

} // namespace talvora::host

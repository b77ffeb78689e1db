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

} // namespace

std::size_t SignalSet::line_count() const {
    return line_length() == 0 ? 0 : samples.size() / line_length();
}

std::span<const float> SignalSet::line(std::size_t index) const {
    return std::span(samples).subspan(index * line_length(), line_length());
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

// The samples first: their set is open then.
SignalSet read_signal_set(DataTree& tree, const std::string& path) {
    const ObjectId id = tree.find(tree.root(), path).value();
    SignalSet set;
    set.path = path;
    set.extents = tree.extents(id);
    set.samples = make_sample_room(set.extents, path);
    const Extents starts(set.extents.size(), 0);
    tree.read(id, {.starts = starts, .counts = set.extents}, set.samples);
    set.sample_rate = read_rate(tree, id);
    set.start_time = read_start_time(tree, id);
    set.names = read_line_names(tree, id);
    return set;
}

} // namespace talvora::host

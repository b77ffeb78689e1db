#include "library/array_samples.h"

#include "host/tree/tree_rules.h"
#include "library/array_view.h"
#include "library/guarded_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::library {
namespace {

// Where a dimension has one index its stride does not matter.
bool is_row_major(const ArrayView& view) {
    std::int64_t expected = view.sample_size();
    for (std::size_t d = view.extents.size(); d-- > 0;) {
        if (view.extents[d] > 1 && view.strides[d] != expected) {
            return false;
        }
        expected *= view.extents[d];
    }
    return true;
}

host::Extents to_extents(const ArrayView& view) {
    return {view.extents.begin(), view.extents.end()};
}

template <typename Sample>
std::span<const Sample> view_samples(const ArrayView& view) {
    return {reinterpret_cast<const Sample*>(view.samples), host::count_samples(to_extents(view))};
}

const std::byte* place_of(const ArrayView& view, const host::Extents& index) {
    const std::byte* place = view.samples;
    for (std::size_t d = 0; d < index.size(); ++d) {
        place += view.strides[d] * static_cast<std::int64_t>(index[d]);
    }
    return place;
}

// Calls `take(part, row)` for each row of samples along the last dimension.
template <typename Sample, typename Take>
void visit_rows(const ArrayView& view, const Take& take) {
    const host::Extents extents = to_extents(view);
    const std::size_t last = extents.size() - 1;
    host::Extents starts(extents.size(), 0);
    host::Extents counts(extents.size(), 1);
    counts[last] = extents[last];
    std::vector<Sample> row(extents[last]);
    for (std::uint64_t rest = host::count_samples(extents); rest > 0; rest -= row.size()) {
        const std::byte* const place = place_of(view, starts);
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i] = *reinterpret_cast<const Sample*>(place + static_cast<std::int64_t>(i) *
                                                                  view.strides[last]);
        }
        take(host::Hyperslab{starts, counts}, std::span<const Sample>(row));
        // On to the next row, the last dimension before this one fastest.
        for (std::size_t d = last; d-- > 0 && ++starts[d] == extents[d];) {
            starts[d] = 0;
        }
    }
}

host::SharedSamples take_floats(const ArrayView& view, const std::string& path) {
    if (view.is_empty() || is_row_major(view)) {
        return host::SharedSamples::borrow(view_samples<float>(view));
    }
    auto samples = host::make_sample_room<float>(to_extents(view), path);
    auto next = samples.begin();
    visit_rows<float>(view, [&](const host::Hyperslab&, std::span<const float> row) {
        next = std::copy(row.begin(), row.end(), next);
    });
    return host::SharedSamples(std::move(samples));
}

host::LineRoundings round_doubles(const ArrayView& view, std::span<float> rounded) {
    const host::Extents extents = to_extents(view);
    host::LineRoundings roundings(extents);
    if (view.is_empty()) {
        return roundings;
    }
    if (is_row_major(view)) {
        const host::Extents starts(extents.size(), 0);
        roundings.round(host::Hyperslab{starts, extents}, view_samples<double>(view), rounded);
        return roundings;
    }
    visit_rows<double>(view, [&](const host::Hyperslab& part, std::span<const double> row) {
        roundings.round(part, row, rounded.first(row.size()));
        rounded = rounded.subspan(row.size());
    });
    return roundings;
}

SetSamples take_doubles(const ArrayView& view, const std::string& path) {
    auto samples = host::make_sample_room<float>(to_extents(view), path);
    const host::SetRounding rounding = round_doubles(view, samples).sum_up();
    if (std::isinf(rounding.change.largest_change)) {
        throw InvalidArgument(
            fmt::format("'{}' has finite samples beyond the largest 32-bit float, {:.6g}", path,
                        std::numeric_limits<float>::max()));
    }
    return {to_extents(view), host::SharedSamples(std::move(samples)), rounding};
}

} // namespace

SetSamples take_samples(const talvora_array* array, const std::string& path) {
    const ArrayView view = read_array(array, "the array");
    if (view.type == TALVORA_FLOAT32) {
        return {to_extents(view), take_floats(view, path), {}};
    }
    return take_doubles(view, path);
}

} // namespace talvora::library

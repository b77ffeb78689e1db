#include "host/tree/line_roundings.h"

#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

// More are no components: they may be the samples of some, with time first.
constexpr std::uint64_t MAX_LINES = 4096;

std::size_t count_changes(const Extents& extents) {
    const std::size_t outer_rank = extents.empty() ? 0 : extents.size() - 1;
    const std::uint64_t lines = count_samples(std::span(extents).first(outer_rank));
    return lines <= MAX_LINES ? std::max<std::size_t>(1, lines) : 1;
}

} // namespace

std::string describe_rounding(const SetRounding& rounding) {
    const RoundingChange& change = rounding.change;
    if (change.largest_change == 0) {
        return "no sample is changed by that";
    }
    std::string text = fmt::format("largest change {:.1e} of the largest sample",
                                   change.largest_change / change.largest_sample);
    if (rounding.worst.part_of_range() > 0) {
        text += fmt::format(", {:.1e} of the range", rounding.worst.part_of_range());
    }
    return text;
}

LineRoundings::LineRoundings(const Extents& extents) : extents_(extents) {}

template <typename Stored>
RoundingChange LineRoundings::round(const Hyperslab& part, std::span<const Stored> stored,
                                    std::span<float> rounded) {
    changes_.resize(count_changes(extents_));
    const bool is_one_line = changes_.size() == 1;
    const std::size_t row_length = is_one_line ? stored.size() : part.counts.back();
    RoundingChange all;
    for (std::size_t first = 0; first < stored.size(); first += row_length) {
        const RoundingChange change =
            round_samples(stored.subspan(first, row_length), rounded.subspan(first, row_length));
        changes_[is_one_line ? 0 : line_of(part, first / row_length)].add(change);
        all.add(change);
    }
    return all;
}

SetRounding LineRoundings::sum_up() const {
    if (changes_.empty()) {
        return {};
    }
    SetRounding sum;
    for (const RoundingChange& change : changes_) {
        sum.change.add(change);
    }
    const auto worst = std::ranges::max_element(changes_, {}, &RoundingChange::part_of_range);
    sum.worst = *worst;
    if (changes_.size() > 1) {
        sum.line = static_cast<std::uint64_t>(worst - changes_.begin());
    }
    return sum;
}

std::size_t LineRoundings::line_of(const Hyperslab& part, std::uint64_t row) const {
    std::uint64_t line = 0;
    std::uint64_t stride = 1;
    for (std::size_t d = extents_.size() - 1; d-- > 0;) {
        line += (part.starts[d] + row % part.counts[d]) * stride;
        row /= part.counts[d];
        stride *= extents_[d];
    }
    return line;
}

template RoundingChange LineRoundings::round(const Hyperslab&, std::span<const double>,
                                             std::span<float>);
template RoundingChange LineRoundings::round(const Hyperslab&, std::span<const std::int32_t>,
                                             std::span<float>);
template RoundingChange LineRoundings::round(const Hyperslab&, std::span<const std::int64_t>,
                                             std::span<float>);
template RoundingChange LineRoundings::round(const Hyperslab&, std::span<const std::uint64_t>,
                                             std::span<float>);

} // namespace talvora::host

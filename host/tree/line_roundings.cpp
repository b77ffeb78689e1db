#include "host/tree/line_roundings.h"

#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

// More are no components: they may be the samples of some, with time first.
constexpr std::uint64_t MAX_LINES = 4096;

// Stretches of a line are looked at one by one in sets of few lines, and where they hold some
// samples.
constexpr std::size_t STRETCHES = 64;
constexpr std::size_t MAX_STRETCHED_LINES = 128;
constexpr std::uint64_t MIN_STRETCHED_LENGTH = 2 * STRETCHES;

std::size_t count_lines(const Extents& extents) {
    const std::size_t outer_rank = extents.empty() ? 0 : extents.size() - 1;
    const std::uint64_t lines = count_samples(std::span(extents).first(outer_rank));
    return lines <= MAX_LINES ? std::max<std::size_t>(1, lines) : 1;
}

std::size_t count_stretches(const Extents& extents, std::size_t line_count) {
    const bool are_lines = !extents.empty() && extents.back() >= MIN_STRETCHED_LENGTH &&
                           count_samples(extents) / extents.back() == line_count;
    return are_lines && line_count <= MAX_STRETCHED_LINES ? STRETCHES : 1;
}

struct LineRounding {
    RoundingChange change;
    bool leaves_outliers = false;
};

// Of the stretches but those in which the least and the greatest sample lie.
RoundingChange sum_up_usual(std::span<const RoundingChange> stretches) {
    const auto lowest = std::ranges::min_element(stretches, {}, &RoundingChange::least);
    const auto highest = std::ranges::max_element(stretches, {}, &RoundingChange::greatest);
    RoundingChange usual;
    for (auto stretch = stretches.begin(); stretch != stretches.end(); ++stretch) {
        if (stretch != lowest && stretch != highest) {
            usual.add(*stretch);
        }
    }
    return usual;
}

LineRounding sum_up_line(std::span<const RoundingChange> stretches) {
    RoundingChange all;
    for (const RoundingChange& stretch : stretches) {
        all.add(stretch);
    }
    if (stretches.size() > 1) {
        const RoundingChange usual = sum_up_usual(stretches);
        if (usual.part_of_range() > LARGE_PART_OF_RANGE &&
            all.part_of_range() <= LARGE_PART_OF_RANGE) {
            return {usual, true};
        }
    }
    return {all, false};
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
        text += fmt::format(", {:.1e} of the range{}", rounding.worst.part_of_range(),
                            rounding.leaves_outliers ? " without outliers" : "");
    }
    return text;
}

LineRoundings::LineRoundings(const Extents& extents)
    : extents_(extents), line_count_(count_lines(extents)),
      stretch_count_(count_stretches(extents, line_count_)) {}

template <typename Stored>
RoundingChange LineRoundings::round(const Hyperslab& part, std::span<const Stored> stored,
                                    std::span<float> rounded) {
    changes_.resize(line_count_ * stretch_count_);
    const bool is_one_row = line_count_ == 1;
    const std::size_t row_length = is_one_row ? stored.size() : part.counts.back();
    RoundingChange all;
    for (std::size_t first = 0; first < stored.size(); first += row_length) {
        const std::size_t line = is_one_row ? 0 : line_of(part, first / row_length);
        const std::uint64_t start = part.starts.empty() ? 0 : part.starts.back();
        all.add(round_row(line, start, stored.subspan(first, row_length),
                          rounded.subspan(first, row_length)));
    }
    return all;
}

// Stretch by stretch; the last one takes what is left over.
template <typename Stored>
RoundingChange LineRoundings::round_row(std::size_t line, std::uint64_t start,
                                        std::span<const Stored> stored, std::span<float> rounded) {
    const std::uint64_t stretch_length = stretch_count_ == 1 ? 0 : extents_.back() / stretch_count_;
    const std::uint64_t end = start + stored.size();
    RoundingChange all;
    for (std::uint64_t at = start; at < end;) {
        const std::uint64_t stretch =
            stretch_count_ == 1 ? 0 : std::min(at / stretch_length, stretch_count_ - 1);
        const std::uint64_t next =
            stretch + 1 == stretch_count_ ? end : std::min(end, (stretch + 1) * stretch_length);
        const RoundingChange change = round_samples(stored.subspan(at - start, next - at),
                                                    rounded.subspan(at - start, next - at));
        changes_[line * stretch_count_ + stretch].add(change);
        all.add(change);
        at = next;
    }
    return all;
}

SetRounding LineRoundings::sum_up() const {
    SetRounding sum;
    for (std::size_t line = 0; line < changes_.size() / stretch_count_; ++line) {
        const auto stretches = std::span(changes_).subspan(line * stretch_count_, stretch_count_);
        for (const RoundingChange& stretch : stretches) {
            sum.change.add(stretch);
        }
        const LineRounding rounding = sum_up_line(stretches);
        if (line == 0 || rounding.change.part_of_range() > sum.worst.part_of_range()) {
            sum.worst = rounding.change;
            sum.leaves_outliers = rounding.leaves_outliers;
            sum.line = line_count_ > 1 ? std::optional<std::uint64_t>(line) : std::nullopt;
        }
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

#include "host/guards/set_lines.h"

#include "host/text/join_texts.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>

namespace talvora::host {

SetLines::SetLines(const Extents& extents, std::size_t axis)
    : extents_(extents), axis_(axis), length_(extents[axis]),
      outer_(count_samples(std::span(extents).first(axis))),
      inner_(count_samples(std::span(extents).subspan(axis + 1))) {}

std::vector<std::uint64_t> SetLines::list_missing(const GapList& gaps) const {
    std::vector<std::uint64_t> lines;
    if (are_in_a_row()) { // a gap ends with its line
        for (const Gap& gap : gaps.gaps()) {
            if (gap.count == length_) {
                lines.push_back(line_of(gap.first));
            }
        }
        return lines;
    }
    std::vector<std::uint64_t> missing(count());
    for (const Gap& gap : gaps.gaps()) {
        for (std::uint64_t at = gap.first; at < gap.first + gap.count; ++at) {
            ++missing[line_of(at)];
        }
    }
    for (std::uint64_t line = 0; line < count(); ++line) {
        if (missing[line] == length_) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::vector<std::uint64_t> SetLines::list_with_missing(const GapList& gaps,
                                                       std::uint64_t first_count) const {
    std::set<std::uint64_t> lines;
    for (const Gap& gap : gaps.gaps()) {
        // In a row, the first sample of a gap is the one nearest to the line's beginning.
        const std::uint64_t looked_at = are_in_a_row() ? 1 : gap.count;
        for (std::uint64_t at = gap.first; at < gap.first + looked_at; ++at) {
            if (at / inner_ % length_ < first_count) {
                lines.insert(line_of(at));
            }
        }
    }
    return {lines.begin(), lines.end()};
}

std::string SetLines::name(std::uint64_t line) const {
    std::vector<std::string> places(extents_.size());
    for (std::size_t d = extents_.size(); d-- > 0;) {
        places[d] = d == axis_ ? ":" : fmt::format("{}", line % extents_[d]);
        line = d == axis_ ? line : line / extents_[d];
    }
    return "[" + join_texts(places) + "]";
}

} // namespace talvora::host

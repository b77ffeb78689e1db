// The lines of a set along one dimension.
#pragma once

#include "host/tree/data_tree.h"
#include "host/tree/gaps.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvora::host {

// Lines are numbered in row-major order of the other dimensions.
class SetLines {
  public:
    // The set is of rank 1 or more, and the dimension one of its.
    SetLines(const Extents& extents, std::size_t axis);

    std::uint64_t count() const { return outer_ * inner_; }
    std::uint64_t length() const { return length_; }

    // Those without a valid sample, ascending.
    std::vector<std::uint64_t> list_missing(const GapList& gaps) const;
    // Those with a missing sample among their first ones, ascending.
    std::vector<std::uint64_t> list_with_missing(const GapList& gaps,
                                                 std::uint64_t first_count) const;

    // Where a line lies: "[2, :, 0]".
    std::string name(std::uint64_t line) const;

    // The samples of each line stand side by side; else those of neighbouring lines do.
    bool are_in_a_row() const { return inner_ == 1 && length_ > 0; }
    // Of a sample, counted row-major in the whole set.
    std::uint64_t line_of(std::uint64_t position) const {
        return position / (inner_ * length_) * inner_ + position % inner_;
    }
    // From a sample on, those of its line; where lines are not in a row, those of the lines that
    // follow it.
    std::uint64_t count_in_a_row(std::uint64_t position) const {
        const std::uint64_t whole = are_in_a_row() ? length_ : inner_;
        return whole - position % whole;
    }

  private:
    Extents extents_;
    std::size_t axis_;
    std::uint64_t length_;
    std::uint64_t outer_; // the product of the extents before the dimension
    std::uint64_t inner_; // and of those behind it
};

} // namespace talvora::host

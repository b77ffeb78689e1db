// The lines of an array along one of its axes, and where each is to come to.
#pragma once

#include "library/array_view.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvora::library {

// Where lines begin in both arrays.
struct LinePlaces {
    std::vector<const std::byte*> in;
    std::vector<std::byte*> out;
};

// Borrows the memory of two arrays of like extents. Lines are counted in the order in which they
// follow each other in the memory of the output, as far as there is one.
class ArrayLines {
  public:
    // `axis` from the first, or as -1 from the last; throws InvalidArgument beyond them. Both are
    // refused as check_output does.
    ArrayLines(const ArrayView& in, const ArrayView& out, std::int32_t axis);

    // Of an empty array 0.
    std::size_t line_count() const { return line_count_; }
    std::size_t line_length() const { return line_length_; }
    // In bytes, from sample to sample of a line.
    std::ptrdiff_t in_step() const { return in_step_; }
    std::ptrdiff_t out_step() const { return out_step_; }

    // So many lines from `first` on, in place of what `places` held.
    void find_places(std::size_t first, std::size_t count, LinePlaces& places) const;

  private:
    struct Axis {
        std::int64_t extent = 0;
        std::int64_t in_stride = 0;
        std::int64_t out_stride = 0;
    };

    const std::byte* in_;
    std::byte* out_;
    std::vector<Axis> across_; // the other axes, that with the greatest stride first
    std::size_t line_count_ = 0;
    std::size_t line_length_ = 0;
    std::ptrdiff_t in_step_ = 0;
    std::ptrdiff_t out_step_ = 0;
};

// Lines that begin at these addresses, their samples so many bytes apart.
struct ReadLines {
    std::span<const std::byte* const> lines;
    std::ptrdiff_t step = 0;
};
struct WrittenLines {
    std::span<std::byte* const> lines;
    std::ptrdiff_t step = 0;
};

// Copies lines of `line_length` samples of a type, bit for bit. Lines that lie side by side are
// copied side by side, so that each part of the memory is asked for once.
template <class Sample>
void copy_lines(ReadLines from, WrittenLines to, std::size_t line_length);

} // namespace talvora::library

#include "library/array_lines.h"

#include "library/guarded_call.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace talvora::library {
namespace {

std::size_t resolve_axis(std::int32_t axis, std::size_t rank) {
    const auto count = static_cast<std::int64_t>(rank);
    const std::int64_t from_first = axis < 0 ? axis + count : axis;
    if (from_first < 0 || from_first >= count) {
        throw InvalidArgument(fmt::format("axis is {}; an array of rank {} has the axes {} to {}",
                                          axis, rank, -count, count - 1));
    }
    return static_cast<std::size_t>(from_first);
}

// Lines copied side by side, and samples of one before those of the next: of floats a cache line
// each way.
constexpr std::size_t TILE_SIDE = 16;

template <class Sample>
void copy_part(const std::byte* from, std::ptrdiff_t from_step, std::byte* to,
               std::ptrdiff_t to_step, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto offset = static_cast<std::ptrdiff_t>(i);
        std::memcpy(to + offset * to_step, from + offset * from_step, sizeof(Sample));
    }
}

template <class Sample>
void copy_side_by_side(ReadLines from, WrittenLines to, std::size_t line_length) {
    for (std::size_t first = 0; first < line_length; first += TILE_SIDE) {
        const std::size_t count = std::min(TILE_SIDE, line_length - first);
        const auto offset = static_cast<std::ptrdiff_t>(first);
        for (std::size_t line = 0; line < to.lines.size(); ++line) {
            copy_part<Sample>(from.lines[line] + offset * from.step, from.step,
                              to.lines[line] + offset * to.step, to.step, count);
        }
    }
}

} // namespace

ArrayLines::ArrayLines(const ArrayView& in, const ArrayView& out, std::int32_t axis)
    : in_(in.samples), out_(out.samples) {
    check_output(in, out);
    const std::size_t along = resolve_axis(axis, in.extents.size());
    line_length_ = static_cast<std::size_t>(in.extents[along]);
    in_step_ = in.strides[along];
    out_step_ = out.strides[along];
    line_count_ = in.is_empty() ? 0 : 1;
    for (std::size_t other = 0; other < in.extents.size(); ++other) {
        if (other != along && in.extents[other] != 1) {
            across_.push_back({in.extents[other], in.strides[other], out.strides[other]});
            line_count_ *= static_cast<std::size_t>(in.extents[other]);
        }
    }
    std::ranges::stable_sort(across_, std::ranges::greater{},
                             [](const Axis& across) { return std::abs(across.out_stride); });
}

void ArrayLines::find_places(std::size_t first, std::size_t count, LinePlaces& places) const {
    places.in.clear();
    places.out.clear();
    std::vector<std::int64_t> position(across_.size());
    std::ptrdiff_t in_offset = 0;
    std::ptrdiff_t out_offset = 0;
    const auto step_along = [&](std::size_t i, std::int64_t steps) {
        position[i] += steps;
        in_offset += steps * across_[i].in_stride;
        out_offset += steps * across_[i].out_stride;
    };
    auto rest = static_cast<std::int64_t>(first);
    for (std::size_t i = across_.size(); i-- > 0;) {
        step_along(i, rest % across_[i].extent);
        rest /= across_[i].extent;
    }
    for (; count > 0; --count) {
        places.in.push_back(in_ + in_offset);
        places.out.push_back(out_ + out_offset);
        // On to the next one, as an odometer counts.
        for (std::size_t i = across_.size(); i-- > 0;) {
            if (position[i] + 1 < across_[i].extent) {
                step_along(i, 1);
                break;
            }
            step_along(i, 1 - across_[i].extent);
        }
    }
}

template <class Sample>
void copy_lines(ReadLines from, WrittenLines to, std::size_t line_length) {
    for (std::size_t first = 0; first < to.lines.size(); first += TILE_SIDE) {
        const std::size_t count = std::min(TILE_SIDE, to.lines.size() - first);
        copy_side_by_side<Sample>({from.lines.subspan(first, count), from.step},
                                  {to.lines.subspan(first, count), to.step}, line_length);
    }
}

template void copy_lines<float>(ReadLines, WrittenLines, std::size_t);
template void copy_lines<double>(ReadLines, WrittenLines, std::size_t);

} // namespace talvora::library

#include "library/array_view.h"

#include "library/versioned_structure.h"
#include "library/way_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <span>
#include <string>
#include <utility>

namespace talvora::library {
namespace {

constexpr std::int32_t MOST_AXES = 64;

std::string list_numbers(const std::vector<std::int64_t>& numbers) {
    std::string text;
    for (const std::int64_t number : numbers) {
        text += (text.empty() ? "" : ", ") + std::to_string(number);
    }
    return "[" + text + "]";
}

// ---------------------------------------------------------------------------
// What a caller gave

void check_fields(const talvora_array& array, std::string_view name) {
    if (array.type != TALVORA_FLOAT32 && array.type != TALVORA_FLOAT64) {
        throw InvalidArgument(fmt::format(
            "the type of {} is {}; allowed are TALVORA_FLOAT32 ({}) and TALVORA_FLOAT64 ({})", name,
            array.type, static_cast<int>(TALVORA_FLOAT32), static_cast<int>(TALVORA_FLOAT64)));
    }
    if (array.rank < 1 || array.rank > MOST_AXES) {
        throw InvalidArgument(
            fmt::format("the rank of {} is {}; allowed are 1 to {}", name, array.rank, MOST_AXES));
    }
    if (array.extents == nullptr) {
        throw InvalidArgument(
            fmt::format("the extents of {} are NULL; {} are needed", name, array.rank));
    }
}

void check_extents(const ArrayView& view, std::string_view name) {
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() / view.sample_size();
    std::int64_t count = 1;
    for (const std::int64_t extent : view.extents) {
        if (extent < 0) {
            throw InvalidArgument(fmt::format("the extents of {} are {}; none may be below 0", name,
                                              list_numbers(view.extents)));
        }
        // An extent of 0 makes none of the others harmless: strides are made of their products.
        const std::int64_t factor = std::max<std::int64_t>(extent, 1);
        if (count > most / factor) {
            throw InvalidArgument(fmt::format("the extents of {} are {}, more samples than memory "
                                              "can hold; allowed are {} in all",
                                              name, list_numbers(view.extents), most));
        }
        count *= factor;
    }
}

std::vector<std::int64_t> make_row_major(const ArrayView& view) {
    std::vector<std::int64_t> strides(view.extents.size());
    std::int64_t stride = view.sample_size();
    for (std::size_t axis = strides.size(); axis-- > 0;) {
        strides[axis] = stride;
        stride *= std::max<std::int64_t>(view.extents[axis], 1);
    }
    return strides;
}

void leave_out_unused_strides(ArrayView& view) {
    for (std::size_t axis = 0; axis < view.strides.size(); ++axis) {
        if (view.extents[axis] < 2) {
            view.strides[axis] = view.sample_size();
        }
    }
}

void check_alignment(const ArrayView& view, std::string_view name) {
    const std::int64_t size = view.sample_size();
    if (reinterpret_cast<std::uintptr_t>(view.samples) % static_cast<std::uintptr_t>(size) != 0) {
        throw InvalidArgument(fmt::format("the samples of {} begin at the address {}; it has to be "
                                          "a multiple of {}",
                                          name, fmt::ptr(view.samples), size));
    }
    for (const std::int64_t stride : view.strides) {
        if (stride % size != 0) {
            throw InvalidArgument(fmt::format("a stride of {} is {} bytes; allowed are multiples "
                                              "of {}",
                                              name, stride, size));
        }
    }
}

// ---------------------------------------------------------------------------
// Where it lies

// From the first byte to the one behind the last, as addresses.
struct ByteRange {
    std::uintptr_t first = 0;
    std::uintptr_t end = 0;
};

// How far its samples lie below and above the first one.
struct Reach {
    std::int64_t below = 0;
    std::int64_t above = 0;
};

// False when 64 bits do not hold it.
bool find_reach(const ArrayView& view, Reach& reach) {
    for (std::size_t axis = 0; axis < view.extents.size(); ++axis) {
        std::int64_t way = 0;
        if (__builtin_mul_overflow(view.strides[axis], view.extents[axis] - 1, &way)) {
            return false;
        }
        std::int64_t& side = way < 0 ? reach.below : reach.above;
        if (__builtin_add_overflow(side, way, &side)) {
            return false;
        }
    }
    return !__builtin_add_overflow(reach.above, view.sample_size(), &reach.above);
}

// Of an array that is not empty.
bool find_range(const ArrayView& view, ByteRange& range) {
    Reach reach;
    const auto address = reinterpret_cast<std::uintptr_t>(view.samples);
    return find_reach(view, reach) && !__builtin_add_overflow(address, reach.below, &range.first) &&
           !__builtin_add_overflow(address, reach.above, &range.end);
}

ByteRange range_of(const ArrayView& view) {
    ByteRange range;
    find_range(view, range);
    return range;
}

void check_range(const ArrayView& view, std::string_view name) {
    if (ByteRange range; !find_range(view, range)) {
        throw InvalidArgument(fmt::format(
            "the extents {} and the strides {} of {} lead beyond what addresses can hold",
            list_numbers(view.extents), list_numbers(view.strides), name));
    }
}

// ---------------------------------------------------------------------------
// Two arrays

// Its axes, in samples; along those without a step no way is gone.
std::vector<Steps> list_steps(const ArrayView& view) {
    std::vector<Steps> steps;
    for (std::size_t axis = 0; axis < view.extents.size(); ++axis) {
        if (view.extents[axis] > 1) {
            steps.push_back(
                {static_cast<std::uint64_t>(std::abs(view.strides[axis] / view.sample_size())),
                 static_cast<std::uint64_t>(view.extents[axis] - 1)});
        }
    }
    return steps;
}

// Whether two samples lie where the first of these axes, from the smallest on, makes one step or
// more: both ways along the others have to make up for it.
Answer find_shared(std::span<const Steps> smaller, const Steps& axis) {
    std::vector<Steps> ways = {{axis.size, axis.most - 1}};
    std::uint64_t reach = 0;
    for (const auto& [size, most] : smaller) {
        ways.push_back({size, 2 * most});
        reach += size * most;
    }
    return reach < axis.size ? Answer::No : find_way(ways, reach - axis.size);
}

void check_places(const ArrayView& out) {
    std::vector<Steps> axes = list_steps(out);
    std::ranges::sort(axes);
    std::uint64_t reach = 0;
    for (std::size_t i = 0; i < axes.size(); ++i) {
        const Answer shared = find_shared(std::span(axes).first(i), axes[i]);
        const auto size = static_cast<std::uint64_t>(out.sample_size());
        if (shared != Answer::No) {
            throw InvalidArgument(fmt::format(
                "{}: a stride is {} bytes, where {} at least keep them apart",
                shared == Answer::Yes ? "samples of out share memory"
                                      : "whether samples of out share memory cannot be told",
                axes[i].size * size, (reach + 1) * size));
        }
        reach += axes[i].size * axes[i].most;
    }
}

bool is_same_place(const ArrayView& in, const ArrayView& out) {
    return in.samples == out.samples && in.strides == out.strides;
}

// From the first sample of the one up, and from the last of the other down: where both ways
// together are as long as what lies between these two, samples meet. All stand at multiples of
// their size.
Answer find_common(const ArrayView& in, const ArrayView& out) {
    const auto size = static_cast<std::uint64_t>(in.sample_size());
    const std::uint64_t first = range_of(in).first / size;
    const std::uint64_t last = range_of(out).end / size - 1;
    if (last < first) {
        return Answer::No;
    }
    std::vector<Steps> steps = list_steps(in);
    std::ranges::copy(list_steps(out), std::back_inserter(steps));
    return find_way(std::move(steps), last - first);
}

void check_apart(const ArrayView& in, const ArrayView& out) {
    switch (find_common(in, out)) {
    case Answer::No:
        return;
    case Answer::Yes:
        throw InvalidArgument("out shares memory with in: it may be the very same array, or has to "
                              "lie apart");
    case Answer::Unknown:
        throw InvalidArgument(fmt::format(
            "whether out shares memory with in cannot be told, with strides of {} and {} bytes: it "
            "may be the very same array, or has to lie apart",
            list_numbers(out.strides), list_numbers(in.strides)));
    }
}

} // namespace

bool ArrayView::is_empty() const {
    return std::ranges::find(extents, 0) != extents.end();
}

ArrayView read_array(const talvora_array* array, std::string_view name) {
    const talvora_array fields = read_structure(array, name);
    check_fields(fields, name);
    ArrayView view{static_cast<std::byte*>(fields.samples),
                   fields.type,
                   {fields.extents, fields.extents + fields.rank},
                   {}};
    check_extents(view, name);
    view.strides = fields.strides == nullptr
                       ? make_row_major(view)
                       : std::vector(fields.strides, fields.strides + fields.rank);
    leave_out_unused_strides(view);
    if (view.is_empty()) {
        return view;
    }
    if (view.samples == nullptr) {
        throw InvalidArgument(fmt::format("the samples of {} are NULL; its extents are {}", name,
                                          list_numbers(view.extents)));
    }
    check_alignment(view, name);
    check_range(view, name);
    return view;
}

void check_output(const ArrayView& in, const ArrayView& out) {
    if (in.type != out.type) {
        throw InvalidArgument(
            fmt::format("the type of out is {}; it has to be that of in, {}", out.type, in.type));
    }
    if (in.extents != out.extents) {
        throw InvalidArgument(fmt::format("the extents of out are {}; they have to be those of in, "
                                          "{}",
                                          list_numbers(out.extents), list_numbers(in.extents)));
    }
    if (in.is_empty()) {
        return;
    }
    check_places(out);
    if (!is_same_place(in, out)) {
        check_apart(in, out);
    }
}

} // namespace talvora::library

// Calls of the C library on arrays that lie in any way in memory, their fields now and then
// spoiled: a call that is refused changes nothing and says why; one that is done has made of each
// line what the plain loop makes of a copy of it, and of the memory beside the output nothing.
#include "dsp/filter_set.h"
#include "dsp/gap_filling.h"
#include "fuzz/finding.h"
#include "fuzz/made_filter.h"
#include "fuzz/same_bits.h"
#include "fuzz/signals.h"
#include "library/talvora/talvora.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using namespace talvora::fuzz;
namespace dsp = talvora::dsp;

constexpr std::size_t MOST_SAMPLES = 8192;
constexpr std::int64_t EXTENTS[] = {0, 1, 2, 3, 5, 17, 18, 40, 211, 900};
constexpr std::size_t MOST_RANK = 64;

// ---------------------------------------------------------------------------
// Arrays

// Extents and strides, in samples, with room for more axes than there are.
struct Layout {
    std::size_t rank = 1;
    std::vector<std::int64_t> extents = std::vector<std::int64_t>(MOST_RANK, 1);
    std::vector<std::int64_t> strides = std::vector<std::int64_t>(MOST_RANK, 0);
    std::int64_t first = 0;

    bool is_empty() const { return std::ranges::find(extents, 0) != extents.end(); }
};

std::vector<std::int64_t> make_extents(Choices& choices, std::size_t rank) {
    std::vector<std::int64_t> extents(MOST_RANK, 1);
    std::int64_t count = 1;
    for (std::size_t axis = 0; axis < rank; ++axis) {
        const std::int64_t extent = pick(choices, EXTENTS);
        extents[axis] = count * extent > static_cast<std::int64_t>(MOST_SAMPLES) ? 1 : extent;
        count *= std::max<std::int64_t>(extents[axis], 1);
    }
    return extents;
}

// Axes in any order and direction, with room between the samples; or any strides at all.
void choose_strides(Choices& choices, Layout& layout) {
    if (one_in(choices, 6)) {
        for (std::size_t axis = 0; axis < layout.rank; ++axis) {
            layout.strides[axis] = choices.ConsumeIntegralInRange<std::int64_t>(-50, 50);
        }
        return;
    }
    std::vector<std::size_t> order(layout.rank);
    for (std::size_t i = 0; i < order.size(); ++i) {
        order[i] = i;
        std::swap(order[i], order[choices.ConsumeIntegralInRange<std::size_t>(0, i)]);
    }
    std::int64_t stride = one_in(choices, 3) ? 2 : 1;
    for (const std::size_t axis : order) {
        layout.strides[axis] = one_in(choices, 3) ? -stride : stride;
        stride =
            stride * std::max<std::int64_t>(layout.extents[axis], 1) + (one_in(choices, 4) ? 3 : 0);
    }
}

// Moved so that it lies within the memory; false where it does not fit.
bool place(Choices& choices, Layout& layout) {
    std::int64_t below = 0;
    std::int64_t above = 0;
    for (std::size_t axis = 0; axis < layout.rank; ++axis) {
        const std::int64_t way = layout.strides[axis] * (layout.extents[axis] - 1);
        (way < 0 ? below : above) += way;
    }
    const std::int64_t room = static_cast<std::int64_t>(MOST_SAMPLES) - 1 - above + below;
    if (layout.is_empty() || room < 0) {
        return layout.is_empty();
    }
    layout.first =
        choices.ConsumeIntegralInRange<std::int64_t>(0, std::min<std::int64_t>(room, 3)) - below;
    return true;
}

Layout make_layout(Choices& choices, std::size_t rank, const std::vector<std::int64_t>& extents) {
    Layout layout{.rank = rank, .extents = extents};
    choose_strides(choices, layout);
    return layout;
}

// Calls visit(position of a line's first sample in each layout) for every line along the axis.
template <class Visit>
void for_each_line(const Layout& in, const Layout& out, std::size_t axis, Visit visit) {
    std::vector<std::int64_t> position(in.rank, 0);
    for (bool more = !in.is_empty(); more;) {
        std::int64_t from = in.first;
        std::int64_t to = out.first;
        for (std::size_t i = 0; i < in.rank; ++i) {
            from += position[i] * in.strides[i];
            to += position[i] * out.strides[i];
        }
        visit(from, to);
        more = false;
        for (std::size_t i = 0; i < in.rank && !more; ++i) {
            if (i == axis) {
                continue;
            }
            more = ++position[i] < in.extents[i];
            position[i] = more ? position[i] : 0;
        }
    }
}

// ---------------------------------------------------------------------------
// Calls

struct Call {
    bool fills_gaps = false;
    dsp::FilterCoefficients filter;
    std::int64_t max_length = 0;
    talvora_filter_options options{};
};

Call make_call(Choices& choices, std::size_t rank) {
    Call call;
    call.fills_gaps = one_in(choices, 4);
    call.filter = make_filter(choices);
    call.max_length = choices.ConsumeIntegralInRange<std::int64_t>(-1, 20);
    call.options.struct_size = sizeof call.options;
    call.options.axis = choices.ConsumeIntegralInRange<std::int32_t>(
        -static_cast<std::int32_t>(rank), static_cast<std::int32_t>(rank) - 1);
    call.options.missing = choices.ConsumeIntegralInRange<std::int32_t>(0, 1);
    call.options.short_lines = one_in(choices, 4) ? 1 : 0;
    call.options.workers = one_in(choices, 4) ? choices.ConsumeIntegralInRange(-1, 5) : 0;
    call.options.pad = choices.ConsumeIntegralInRange<std::int64_t>(-2, 30);
    return call;
}

template <class Sample>
talvora_array make_array(std::vector<Sample>& memory, const Layout& layout,
                         std::vector<std::int64_t>& byte_strides) {
    byte_strides = layout.strides;
    for (std::int64_t& stride : byte_strides) {
        stride *= static_cast<std::int64_t>(sizeof(Sample));
    }
    return {sizeof(talvora_array),
            memory.data() + layout.first,
            layout.extents.data(),
            byte_strides.data(),
            static_cast<std::int32_t>(layout.rank),
            std::is_same_v<Sample, float> ? TALVORA_FLOAT32 : TALVORA_FLOAT64};
}

// Nothing that it leads to lies outside the memory, which has room for a sample more.
void spoil(Choices& choices, talvora_array& array, talvora_filter_options& options) {
    constexpr std::int32_t RANKS[] = {-1, 0, 1, 64, 65, 1 << 30};
    constexpr std::size_t SIZES[] = {0, 7, 39, 4097, std::numeric_limits<std::size_t>::max()};
    switch (choices.ConsumeIntegralInRange(0, 9)) {
    case 0:
        array.rank = pick(choices, RANKS);
        break;
    case 1:
        array.struct_size = pick(choices, SIZES);
        break;
    case 2:
        array.type = choices.ConsumeIntegralInRange<std::int32_t>(-1, 3);
        break;
    case 3:
        array.extents = nullptr;
        break;
    case 4:
        array.samples = nullptr;
        break;
    case 5:
        array.samples = static_cast<char*>(array.samples) + choices.ConsumeIntegralInRange(1, 3);
        break;
    case 6:
        options.axis = choices.ConsumeIntegral<std::int32_t>();
        break;
    case 7:
        options.workers = choices.ConsumeIntegralInRange<std::int32_t>(-9, -2);
        break;
    case 8:
        options.pad = choices.ConsumeIntegral<std::int64_t>();
        break;
    default:
        options.struct_size = pick(choices, SIZES);
        break;
    }
}

talvora_status make(const Call& call, const talvora_array& in, const talvora_array& out,
                    char* error, std::size_t error_size) {
    return call.fills_gaps
               ? talvora_fill_gaps(&in, &out, call.max_length, &call.options, error, error_size)
               : talvora_filtfilt(call.filter.b.data(), call.filter.b.size(), call.filter.a.data(),
                                  call.filter.a.size(), &in, &out, &call.options, error,
                                  error_size);
}

// ---------------------------------------------------------------------------
// What has to come of them

std::optional<std::size_t> pad_count_of(const Call& call) {
    const std::size_t tap_count = std::max(call.filter.b.size(), call.filter.a.size());
    switch (call.options.pad) {
    case TALVORA_PAD_UNIT:
        return std::nullopt;
    case TALVORA_PAD_SCIPY:
        return 3 * tap_count;
    case TALVORA_PAD_NONE:
        return 0;
    default:
        return static_cast<std::size_t>(call.options.pad);
    }
}

// Adds what is told of the runs of a line.
template <class Sample>
void count_short_runs(const Call& call, const std::vector<Sample>& line, talvora_short_runs& told) {
    const std::size_t tap_count = std::max(call.filter.b.size(), call.filter.a.size());
    const auto least_length =
        static_cast<std::int64_t>(dsp::padding_for(tap_count, pad_count_of(call)).least_length);
    told.least_length = least_length;
    std::vector<dsp::ValidRun> runs;
    dsp::find_valid_runs(std::span<const Sample>(line), 1, runs);
    if (std::ssize(line) < least_length || call.options.missing == TALVORA_PROPAGATE) {
        return;
    }
    const auto is_filtered = [&](const dsp::ValidRun& run) { return run.length >= least_length; };
    const auto first = std::ranges::find_if(runs, is_filtered);
    const auto behind_last = std::find_if(runs.rbegin(), runs.rend(), is_filtered).base();
    for (auto run = runs.begin(); run != runs.end(); ++run) {
        if (!is_filtered(*run)) {
            const bool is_within = first == runs.end() || (run > first && run < behind_last);
            (is_within ? told.left_samples : told.erased_samples) += run->length;
        }
    }
}

template <class Sample>
void change_plainly(const Call& call, std::vector<Sample>& line) {
    if (call.fills_gaps) {
        std::vector<dsp::ValidRun> runs;
        dsp::GapRows gaps;
        dsp::find_valid_runs(std::span<const Sample>(line), -1, runs);
        dsp::append_gaps(
            runs, call.max_length == 0 ? std::numeric_limits<std::int64_t>::max() : call.max_length,
            gaps);
        dsp::fill_gaps(std::span<Sample>(line), runs, gaps);
        return;
    }
    dsp::SetFilter<Sample> plain(dsp::FilterPath::Plain, call.options.missing == TALVORA_PROPAGATE
                                                             ? dsp::Missing::Propagate
                                                             : dsp::Missing::Omit);
    plain.filter_in_place(line, line.size(), call.filter, pad_count_of(call));
}

// The memory of the output as it should be, from both as they were.
template <class Sample>
std::vector<Sample> expect(const Call& call, const std::vector<Sample>& in_memory, const Layout& in,
                           std::vector<Sample> memory, const Layout& out,
                           talvora_short_runs& short_runs) {
    const auto rank = static_cast<std::int32_t>(in.rank);
    const auto axis = static_cast<std::size_t>(call.options.axis < 0 ? call.options.axis + rank
                                                                     : call.options.axis);
    const auto length = static_cast<std::size_t>(in.extents[axis]);
    for_each_line(in, out, axis, [&](std::int64_t from, std::int64_t to) {
        std::vector<Sample> line(length);
        for (std::size_t i = 0; i < length; ++i) {
            line[i] = in_memory[static_cast<std::size_t>(from + static_cast<std::int64_t>(i) *
                                                                    in.strides[axis])];
        }
        if (!call.fills_gaps) {
            count_short_runs(call, line, short_runs);
        }
        change_plainly(call, line);
        for (std::size_t i = 0; i < length; ++i) {
            memory[static_cast<std::size_t>(to + static_cast<std::int64_t>(i) *
                                                     out.strides[axis])] = line[i];
        }
    });
    return memory;
}

template <class Sample>
void check_same(const std::vector<Sample>& memory, const std::vector<Sample>& expected,
                const std::string& what) {
    const auto [sample, wanted] =
        std::ranges::mismatch(memory, expected, [](Sample left, Sample right) {
            return same_bits(left, right) || (std::isnan(left) && std::isnan(right));
        });
    if (wanted != expected.end()) {
        report_finding(what + ": sample " + std::to_string(wanted - expected.begin()) + " is " +
                       std::to_string(*sample) + " instead of " + std::to_string(*wanted));
    }
}

std::string describe(const talvora_short_runs& runs) {
    return std::to_string(runs.left_samples) + " left, " + std::to_string(runs.erased_samples) +
           " erased of runs below " + std::to_string(runs.least_length);
}

template <class Sample>
std::vector<Sample> make_memory(Choices& choices) {
    const std::vector<float> samples = make_samples(choices, MOST_SAMPLES);
    std::vector<Sample> memory(samples.begin(), samples.end());
    memory.push_back(0); // read where an array is said to have the larger type
    return memory;
}

template <class Sample>
void try_call(Choices& choices) {
    const auto rank = choices.ConsumeIntegralInRange<std::size_t>(1, 4);
    const std::vector<std::int64_t> extents = make_extents(choices, rank);
    Call call = make_call(choices, rank);
    Layout in = make_layout(choices, rank, extents);
    Layout out = one_in(choices, 3) ? in : make_layout(choices, rank, extents);
    const bool is_in_place = one_in(choices, 3);
    if (!place(choices, in) || !place(choices, out)) {
        return;
    }
    std::vector<Sample> memory = make_memory<Sample>(choices);
    std::vector<Sample> other(memory.size(), Sample{-77});
    std::vector<Sample>& written = is_in_place ? memory : other;
    const std::vector<Sample> memory_before = memory;
    const std::vector<Sample> written_before = written;

    std::vector<std::int64_t> in_strides;
    std::vector<std::int64_t> out_strides;
    talvora_array from = make_array(memory, in, in_strides);
    talvora_array to = make_array(written, out, out_strides);
    const bool is_spoilt = one_in(choices, 5);
    if (is_spoilt) {
        spoil(choices, choices.ConsumeBool() ? from : to, call.options);
    }
    talvora_short_runs told{};
    told.struct_size = sizeof told;
    call.options.short_runs = &told;
    char error[300] = "";
    const talvora_status status = make(call, from, to, error, sizeof error);
    if (status == TALVORA_INVALID_ARGUMENT) {
        check_same(written, written_before, "refused");
        if (std::strlen(error) < 10) {
            report_finding("refused without a sentence");
        }
    } else if (status != TALVORA_OK) {
        report_finding("status " + std::to_string(status) + ": " + error);
    } else if (!is_spoilt) {
        talvora_short_runs expected{};
        check_same(written, expect(call, memory_before, in, written_before, out, expected), "done");
        if (told.left_samples != expected.left_samples ||
            told.erased_samples != expected.erased_samples ||
            (told.least_length != expected.least_length && expected.least_length != 0)) {
            report_finding("short runs: " + describe(told) + " instead of " + describe(expected));
        }
    }
    if (!is_in_place) {
        check_same(memory, memory_before, "input");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    if (choices.ConsumeBool()) {
        try_call<float>(choices);
    } else {
        try_call<double>(choices);
    }
    return 0;
}

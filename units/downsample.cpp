#include "dsp/integer_conversion.h"
#include "dsp/made_samples.h"
#include "plugin/host_tables.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/axis_set.h"
#include "units/line_loop.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <span>
#include <vector>

namespace talvora::units {

namespace {

constexpr char NO_HINT_MESSAGE[] = "No hint found to compute the downsample factor";
constexpr char INVALID_HINT_GROUP_MESSAGE[] = "Invalid hint group to compute the downsample factor";
constexpr char INVALID_HINT_SET_MESSAGE[] = "Invalid hint set to compute the downsample factor";
constexpr char DENOMINATOR_MESSAGE[] = "At least one denominator is NaN or 0";
constexpr char FACTOR_MESSAGE[] = "At least one factor is NaN, this may be caused by hint "
                                  "set/group attribute SampleRate being 0 or NAN";

// The selected sets and their rates. Every rate stands twice in a row, so that the
// i-th set is scaled by the rate of set i / 2: that is how this unit reduces sets of
// several rates, and its page says what follows from it.
struct DownsampleSources {
    std::vector<float> rates;
    std::vector<AxisSet> sets;
};

// How one set shrinks.
struct Reduction {
    std::uint64_t stride;     // every stride-th sample is kept
    std::uint64_t new_length; // of each line
};

// --- the rate to come down to

std::optional<float> read_group_rate(const UnitCall& call, const char* path) {
    if (call.groups().group_exists(call.root(), path) == 0) {
        call.report(INVALID_HINT_GROUP_MESSAGE);
        return std::nullopt;
    }
    return call.groups().read_float_attribute(open_group(call.groups(), call.root(), path),
                                              "SampleRate");
}

std::optional<float> read_set_rate(const UnitCall& call, const char* path) {
    if (call.sets().dataset_exists(call.root(), path) == 0) {
        call.report(INVALID_HINT_SET_MESSAGE);
        return std::nullopt;
    }
    return call.sets().read_float_attribute(open_dataset(call.sets(), call.root(), path),
                                            "SampleRate");
}

// The group wins when both are given; an empty text is given too. The root is asked for
// once there is something to look for below it.
std::optional<float> read_target_rate(UnitCall& call) {
    const OwnedText hint_group = call.read_text("HintGroup");
    const OwnedText hint_set = call.read_text("HintSet");
    if (!hint_group.has_value() && !hint_set.has_value()) {
        call.report(NO_HINT_MESSAGE);
        return std::nullopt;
    }
    call.fetch_root();
    return hint_group.has_value() ? read_group_rate(call, hint_group.c_str())
                                  : read_set_rate(call, hint_set.c_str());
}

// --- the sets to reduce

std::optional<DownsampleSources> read_sources(const UnitCall& call,
                                              const DatasetHandleList& handles, std::int64_t axis) {
    DownsampleSources sources;
    for (const dataset_handle handle : handles) {
        const float rate = call.sets().read_float_attribute(handle, "SampleRate");
        if (rate <= 0.0F) {
            call.report(MISSING_SAMPLE_RATE_MESSAGE);
            return std::nullopt;
        }
        std::optional<AxisSet> set = read_axis_set(call.sets(), handle, axis);
        if (!set) {
            call.report(AXIS_OUT_OF_RANGE_MESSAGE);
            return std::nullopt;
        }
        sources.rates.insert(sources.rates.end(), 2, rate);
        sources.sets.push_back(std::move(*set));
    }
    return sources;
}

// --- one set

// The counts of a write request, at most `limit` samples in all.
std::uint64_t count_named_samples(std::span<const std::uint64_t> counts, std::uint64_t limit) {
    std::uint64_t named = 1;
    for (const std::uint64_t count : counts) {
        if (count != 0 && named > limit / count) {
            named = limit;
        } else {
            named *= count;
        }
    }
    return named;
}

// A line's request with the new length at 2 * axis + 1. That is the count of the axis
// when the axis is the last dimension; for any other axis it is another entry, the
// count of the axis stays, and the host is asked to take what it can.
void request_reduced_line(std::span<const std::uint64_t> selection, std::size_t axis,
                          std::uint64_t new_length, Selection& request) {
    request.assign(selection.begin(), selection.end());
    request[2 * axis + 1] = new_length;
}

// Room for a line of the new length and, zero-filled, for all else that the request
// names: a host that copies what it is asked to must find it. No request can be met
// beyond what the set holds.
SampleBuffer allocate_output(const AxisSet& set, const AxisLines& lines, std::uint64_t new_length) {
    Selection request;
    request_reduced_line(lines.selection, set.axis, new_length, request);
    const std::uint64_t named = count_named_samples(std::span(request).subspan(request.size() / 2),
                                                    count_samples(set.shape.extents()));
    return SampleBuffer(std::max(new_length, named));
}

void keep_every_stride(std::span<const float> line, std::uint64_t stride, std::span<float> kept) {
    for (std::size_t j = 0; j < kept.size(); ++j) {
        kept[j] = line[j * stride];
    }
}

void reduce_lines(const dataset_api& sets, const AxisSet& set, const Reduction& reduction) {
    AxisLines lines = set.plan_lines();
    const SampleBuffer input(lines.line_length);
    const SampleBuffer output = allocate_output(set, lines, reduction.new_length);
    const std::span<float> kept = output.samples().first(reduction.new_length);
    Selection request;
    for_each_line(sets, set.handle, lines, input, [&](const CurrentLine& line) {
        keep_every_stride(line.samples, reduction.stride, kept);
        request_reduced_line(line.selection, set.axis, reduction.new_length, request);
        write_samples(sets, set.handle, kept, request);
    });
}

void reduce_set(const dataset_api& sets, AxisSet& set, float rate, float factor) {
    const std::uint64_t stride = dsp::to_uint64(static_cast<double>(factor));
    std::uint64_t& length = set.shape.extents()[set.axis];
    const Reduction reduction{stride, length / stride};
    reduce_lines(sets, set, reduction);

    length = reduction.new_length;
    sets.resize_dataset(set.handle, set.shape.extents().data(), set.shape.rank());
    sets.write_float_attribute(set.handle, "SampleRate", dsp::made_sample(rate / factor));
    sets.write_float_attribute(set.handle, "NumSamples", static_cast<float>(length));
}

// Sets before one whose factor is NaN stay reduced.
bool reduce_sets(const UnitCall& call, DownsampleSources& sources, float target_rate) {
    for (std::size_t i = 0; i < sources.sets.size(); ++i) {
        const float rate = sources.rates[i];
        const float factor = rate / target_rate;
        if (std::isnan(factor)) {
            return call.fail(FACTOR_MESSAGE);
        }
        if (factor > 1.0F) {
            reduce_set(call.sets(), sources.sets[i], rate, factor);
        }
    }
    return true;
}

// --- the source group and, when asked for, the groups below it

void update_sample_count(const group_api& groups, group_handle group, float scale) {
    if (groups.has_attribute(group, "NumSamples") == 0) {
        return;
    }
    const std::int64_t old_count = groups.read_integer_attribute(group, "NumSamples");
    const float scaled = std::floor(scale * static_cast<float>(old_count));
    const std::int64_t new_count = dsp::to_int64(static_cast<double>(scaled));
    groups.write_float_attribute(group, "NumSamples", static_cast<float>(new_count));
}

void update_group_attributes(const group_api& groups, group_handle group, float target_rate) {
    if (groups.has_attribute(group, "SampleRate") == 0) {
        return;
    }
    const float old_rate = groups.read_float_attribute(group, "SampleRate");
    groups.write_float_attribute(group, "SampleRate", target_rate);
    update_sample_count(groups, group, target_rate / old_rate);
}

void update_groups(const group_api& groups, group_handle group, float target_rate, bool recursive) {
    update_group_attributes(groups, group, target_rate);
    if (!recursive) {
        return;
    }
    const OwnedTextList names = list_groups(groups, group);
    for (std::size_t i = 0; i < names.size(); ++i) {
        update_groups(groups, open_group(groups, group, names[i]), target_rate, recursive);
    }
}

void update_source_group(const UnitCall& call, float target_rate) {
    const OwnedText path = call.read_text("SourceGroup");
    const bool recursive = call.read_boolean("ScanRecursive");
    if (path.has_value()) {
        const group_handle group = open_group(call.groups(), call.root(), path.c_str());
        update_groups(call.groups(), group, target_rate, recursive);
    }
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    UnitCall call(ctx, get_interface, {CONTEXT_API_ID, GROUP_API_ID, DATASET_API_ID});
    const auto target_rate = read_target_rate(call);
    if (!target_rate) {
        return false;
    }
    const std::int64_t axis = call.read_integer("Axis");
    if (std::isnan(*target_rate) || *target_rate == 0.0F) {
        return call.fail(DENOMINATOR_MESSAGE);
    }
    auto sources = read_sources(call, *handles, axis);
    if (!sources || !reduce_sets(call, *sources, *target_rate)) {
        return false;
    }
    update_source_group(call, *target_rate);
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"HintGroup: string", false},
    {"HintSet: string", false},
    {"Axis: integer = -1", false},
};

} // namespace

constinit const UnitDescription DOWNSAMPLE = {
    .identifier = get_text<"orvane.signal.apply-set-downsample">,
    .legacy_identifier = get_text<"signal.set-downsample">,
    .description = get_text<"Downsample the signal in place">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

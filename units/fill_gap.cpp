#include "dsp/gap_filling.h"
#include "dsp/integer_conversion.h"
#include "plugin/host_tables.h"
#include "plugin/source_sets.h"
#include "plugin/unit_parameters.h"
#include "units/axis.h"
#include "units/line_loop.h"
#include "units/messages.h"
#include "units/units.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

namespace talvora::units {

namespace {

constexpr std::int64_t UNLIMITED = std::numeric_limits<std::int64_t>::max();

constexpr char NO_LENGTH_MESSAGE[] = "No information related to the maximum gap length found";
constexpr char HINT_RANGE_MESSAGE[] =
    "Value out of range. The hint to compute the maximum gap length based on the 'SampleRate' "
    "property must be in the range ]0, 1]";
constexpr char NO_RATE_MESSAGE[] = "Missing attribute 'SampleRate' or null value to compute the "
                                   "maximum gap length for a set to fill";

// The longest gap to fill: in samples or, when that is 0, as a hint in seconds.
struct GapLimit {
    std::int64_t samples;
    double hint;

    bool is_hint() const { return samples == 0; }
};

// What one run works with, and the lists that it reuses from line to line.
struct FillGapCall {
    call_context* ctx;
    const context_api& context;
    const dataset_api& sets;
    GapLimit limit;
    std::int64_t axis;
    std::vector<dsp::ValidRun> runs;
    dsp::GapRows filled; // of the whole set, line after line
};

// The message that says why a limit cannot be used. A hint that is NaN passes: no gap
// is short enough for it then.
const char* find_limit_fault(const GapLimit& limit) {
    if (!limit.is_hint()) {
        return nullptr;
    }
    if (limit.hint == 0.0) {
        return NO_LENGTH_MESSAGE;
    }
    return limit.hint <= 0.0 || limit.hint > 1.0 ? HINT_RANGE_MESSAGE : nullptr;
}

// Nothing when the set has no rate to multiply the hint with; a NaN rate passes.
std::optional<std::int64_t> resolve_max_length(const GapLimit& limit, const dataset_api& sets,
                                               dataset_handle set) {
    if (!limit.is_hint()) {
        return limit.samples < 0 ? UNLIMITED : limit.samples;
    }
    const float rate = sets.read_float_attribute(set, "SampleRate");
    if (rate <= 0.0F) {
        return std::nullopt;
    }
    return dsp::to_int64(std::ceil(static_cast<double>(rate) * limit.hint));
}

// A line with a gap inside is written back, also when all its gaps are too long.
void fill_line(FillGapCall& call, const CurrentLine& line, std::int64_t max_length) {
    dsp::find_valid_runs(line.samples, -1, call.runs);
    if (call.runs.size() < 2) {
        return;
    }
    const std::size_t earlier = call.filled.size();
    dsp::append_gaps(call.runs, max_length, call.filled);
    dsp::fill_gaps(line.samples, call.runs, std::span(call.filled).subspan(earlier));
    line.write_back();
}

void write_attributes(const FillGapCall& call, dataset_handle set, std::int64_t max_length) {
    const std::uint64_t extents[] = {call.filled.size() / 2, 2};
    call.sets.write_string_attribute(set, "FillGapType", "LinearInterpolation");
    call.sets.write_integer_attribute(set, "FillGapMaxGapLength", max_length);
    call.sets.write_number_attribute(set, "FillGapMaxGapLengthHint", call.limit.hint);
    call.sets.write_integer_array_attribute(set, "FillGapSamplesFilled", call.filled.data(),
                                            extents, 2);
}

void fill_lines(FillGapCall& call, dataset_handle set, AxisLines lines, std::int64_t max_length) {
    const SampleBuffer buffer(lines.line_length);
    call.filled.clear();
    call.filled.reserve(lines.line_length);
    for_each_line(call.sets, set, lines, buffer,
                  [&](const CurrentLine& line) { fill_line(call, line, max_length); });
}

// False when the axis is out of range. A set whose rate cannot be used is reported and
// passed over; one of rank 0 is passed over.
bool fill_set(FillGapCall& call, dataset_handle set) {
    const auto max_length = resolve_max_length(call.limit, call.sets, set);
    if (!max_length) {
        call.context.log_error(call.ctx, NO_RATE_MESSAGE);
        return true;
    }
    OwnedShape shape;
    call.sets.dataset_shape(shape.out(), set);
    if (shape.rank() == 0) {
        return true;
    }
    const auto axis = resolve_axis(call.axis, shape.rank());
    if (!axis) {
        call.context.log_error(call.ctx, AXIS_OUT_OF_RANGE_MESSAGE);
        return false;
    }
    fill_lines(call, set, plan_axis_lines(shape.extents(), *axis), *max_length);
    write_attributes(call, set, *max_length);
    return true;
}

bool run(call_context* ctx, get_interface_function get_interface) {
    DatasetHandleList handles;
    if (!select_source_sets(handles, ctx, get_interface)) {
        return false;
    }
    const context_api& context = get_context_api(get_interface);
    const dataset_api& sets = get_dataset_api(get_interface);

    const std::int64_t samples = context.read_integer(ctx, "MaxGapLength");
    const double hint = context.read_number(ctx, "HintMaxGapLength");
    const GapLimit limit{samples, hint};
    if (const char* const fault = find_limit_fault(limit)) {
        context.log_error(ctx, fault);
        return false;
    }
    const std::int64_t axis = context.read_integer(ctx, "Axis");
    FillGapCall call{ctx, context, sets, limit, axis, {}, {}};
    // Sets repaired before one that fails stay repaired.
    return std::ranges::all_of(handles,
                               [&call](dataset_handle set) { return fill_set(call, set); });
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},       {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false}, {"MaxGapLength: integer", false},
    {"HintMaxGapLength: number", false},       {"Axis: integer = -1", false},
};

} // namespace

constinit const UnitDescription FILL_GAP = {
    .identifier = get_text<"orvane.signal.apply-set-fill-gap">,
    .legacy_identifier = get_text<"signal.set-fill-gap">,
    .description = get_text<"Fill gap the signal in place">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

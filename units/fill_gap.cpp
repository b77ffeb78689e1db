#include "dsp/gap_filling.h"
#include "dsp/integer_conversion.h"
#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/axis_set.h"
#include "units/line_loop.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
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
struct GapFilling {
    const UnitCall& call;
    GapLimit limit;
    std::int64_t axis; // as asked for
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
void fill_line(GapFilling& filling, const CurrentLine& line, std::int64_t max_length) {
    dsp::find_valid_runs(line.samples, -1, filling.runs);
    if (filling.runs.size() < 2) {
        return;
    }
    const std::size_t earlier = filling.filled.size();
    dsp::append_gaps(filling.runs, max_length, filling.filled);
    dsp::fill_gaps(line.samples, filling.runs, std::span(filling.filled).subspan(earlier));
    line.write_back();
}

void write_attributes(const GapFilling& filling, dataset_handle set, std::int64_t max_length) {
    const dataset_api& sets = filling.call.sets();
    const std::uint64_t extents[] = {filling.filled.size() / 2, 2};
    sets.write_string_attribute(set, "FillGapType", "LinearInterpolation");
    sets.write_integer_attribute(set, "FillGapMaxGapLength", max_length);
    sets.write_number_attribute(set, "FillGapMaxGapLengthHint", filling.limit.hint);
    sets.write_integer_array_attribute(set, "FillGapSamplesFilled", filling.filled.data(), extents,
                                       2);
}

// Lines without samples have no gaps, and may be more than can be counted.
void fill_lines(GapFilling& filling, const AxisSet& set, std::int64_t max_length) {
    filling.filled.clear();
    if (set.line_length() == 0) {
        return;
    }
    AxisLines lines = set.plan_lines();
    const SampleBuffer buffer(lines.line_length);
    filling.filled.reserve(lines.line_length);
    for_each_line(filling.call.sets(), set.handle, lines, buffer,
                  [&](const CurrentLine& line) { fill_line(filling, line, max_length); });
}

// False when the axis is out of range. A set whose rate cannot be used is reported and
// passed over; one of rank 0 is passed over.
bool fill_set(GapFilling& filling, dataset_handle set) {
    const UnitCall& call = filling.call;
    const auto max_length = resolve_max_length(filling.limit, call.sets(), set);
    if (!max_length) {
        call.report(NO_RATE_MESSAGE);
        return true;
    }
    OwnedShape shape = read_shape(call.sets(), set);
    if (shape.rank() == 0) {
        return true;
    }
    const auto axis = resolve_axis(filling.axis, shape.rank());
    if (!axis) {
        return call.fail(AXIS_OUT_OF_RANGE_MESSAGE);
    }
    const AxisSet axis_set{set, std::move(shape), *axis};
    fill_lines(filling, axis_set, *max_length);
    write_attributes(filling, set, *max_length);
    return true;
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    const UnitCall call(ctx, get_interface, {CONTEXT_API_ID, DATASET_API_ID});
    const std::int64_t samples = call.read_integer("MaxGapLength");
    const double hint = call.read_number("HintMaxGapLength");
    const GapLimit limit{samples, hint};
    if (const char* const fault = find_limit_fault(limit)) {
        return call.fail(fault);
    }
    GapFilling filling{call, limit, call.read_integer("Axis"), {}, {}};
    // Sets repaired before one that fails stay repaired.
    return std::ranges::all_of(*handles,
                               [&](dataset_handle set) { return fill_set(filling, set); });
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

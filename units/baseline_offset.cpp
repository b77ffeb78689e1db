#include "dsp/made_samples.h"
#include "dsp/percentile.h"
#include "dsp/signal_to_noise.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/axis_set.h"
#include "units/line_loop.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

namespace talvora::units {

namespace {

// How many samples at the start of a line tell its baseline.
constexpr std::size_t BASELINE_SAMPLE_COUNT = 10;

// Nothing when the axis is out of range for any of the sets.
std::optional<std::vector<AxisSet>>
read_axis_sets(const dataset_api& sets, const DatasetHandleList& handles, std::int64_t axis) {
    std::vector<AxisSet> axis_sets;
    for (const dataset_handle handle : handles) {
        std::optional<AxisSet> set = read_axis_set(sets, handle, axis);
        if (!set) {
            return std::nullopt;
        }
        axis_sets.push_back(std::move(*set));
    }
    return axis_sets;
}

// A sample that is NaN stays it; where the offset is, the others become that.
void subtract(std::span<float> samples, float offset) {
    if (std::isnan(offset)) {
        std::ranges::transform(samples, samples.begin(), [offset](float sample) {
            return dsp::quieted(std::isnan(sample) ? sample : offset);
        });
        return;
    }
    for (float& sample : samples) {
        sample = dsp::made_sample(sample - offset, sample);
    }
}

// The line begins at the start of its buffer, which malloc aligns to 16 bytes: the
// reported figure depends on it in its last bit.
void remove_line_offset(std::span<float> line, const log_api& log) {
    const auto opening = line.first(std::min(line.size(), BASELINE_SAMPLE_COUNT));
    log.log_info("Computed SNR: %f", static_cast<double>(dsp::compute_signal_to_noise(opening)));
    subtract(line, dsp::percentile(opening, 50.0F));
}

// Lines without samples have no baseline, and may be more than can be counted.
void remove_set_offsets(const AxisSet& set, const dataset_api& sets, const log_api& log) {
    if (set.line_length() == 0) {
        return;
    }
    AxisLines lines = set.plan_lines();
    const SampleBuffer buffer(lines.line_length);
    for_each_line(sets, set.handle, lines, buffer, [&log](const CurrentLine& line) {
        remove_line_offset(line.samples, log);
        line.write_back();
    });
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    const UnitCall call = begin_full_call(ctx, get_interface);
    const std::int64_t axis = call.read_integer("Axis");
    const auto axis_sets = read_axis_sets(call.sets(), *handles, axis);
    if (!axis_sets) {
        return call.fail(AXIS_OUT_OF_RANGE_MESSAGE);
    }
    for (const AxisSet& set : *axis_sets) {
        remove_set_offsets(set, call.sets(), call.log());
    }
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"Axis: integer = -1", false},
};

} // namespace

constinit const UnitDescription BASELINE_OFFSET = {
    .identifier = get_text<"orvane.signal.apply-set-baseline-offset">,
    .legacy_identifier = get_text<"signal.set-baseline-offset">,
    .description = get_text<"Compute a baseline offset from the signal and remove it in place">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

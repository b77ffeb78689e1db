#include "dsp/missing_samples.h"
#include "plugin/set_records.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/sample_batches.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace talvora::units {

namespace {

// A NaN rate passes: its set is marked as unusable instead.
bool check_sample_rates(std::span<const set_record> records) {
    return std::ranges::none_of(
        records, [](const set_record& record) { return 0.0F >= record.sample_rate; });
}

// Clears the sign bit, also of zeros and NaNs.
void take_absolute_values(std::span<float> samples) {
    constexpr std::uint32_t WITHOUT_SIGN = 0x7FFFFFFFU;
    for (float& sample : samples) {
        sample = std::bit_cast<float>(std::bit_cast<std::uint32_t>(sample) & WITHOUT_SIGN);
    }
}

void rectify_sets(std::span<const BatchedSet> sets) {
    for (const auto& [record, samples] : sets) {
        if (std::isfinite(record.sample_rate)) {
            take_absolute_values(samples);
        } else {
            dsp::fill_missing(samples);
        }
    }
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const UnitCall call(ctx, get_interface, {CONTEXT_API_ID, DATASET_API_ID, LOG_API_ID});
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    if (handles->empty()) {
        return true;
    }
    const std::vector<set_record> records = build_set_records(*handles, call.sets(), call.log());
    if (!check_sample_rates(records)) {
        return call.fail(MISSING_SAMPLE_RATE_MESSAGE);
    }
    process_in_batches(records, call.sets(), rectify_sets);
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
};

} // namespace

constinit const UnitDescription RECTIFY = {
    .identifier = get_text<"orvane.signal.apply-set-rectify">,
    .legacy_identifier = get_text<"signal.set-rectify">,
    .description = get_text<"Rectify the signal in place">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

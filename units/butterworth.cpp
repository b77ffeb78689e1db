#include "dsp/butterworth_design.h"
#include "dsp/filter_set.h"
#include "dsp/missing_samples.h"
#include "plugin/set_records.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/sample_batches.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <utility>

namespace talvora::units {

namespace {

// "Order" and "Axis" are 32-bit in this unit: what a host gives beyond them is cut off.
std::int32_t read_low_word(const UnitCall& call, const char* key) {
    return static_cast<std::int32_t>(call.read_integer(key));
}

// Reports what is wrong with a text that names no band form.
std::optional<dsp::Bandform> parse_bandform(const UnitCall& call) {
    const OwnedText text = call.read_text("Bandform");
    if (!text.has_value()) {
        call.report("Invalid bandform");
        return std::nullopt;
    }
    const auto* const named =
        std::ranges::find(dsp::BANDFORMS, text.view(), &dsp::NamedBandform::name);
    if (named == std::end(dsp::BANDFORMS)) {
        call.report("Unknown bandform '%s'", text.c_str());
        return std::nullopt;
    }
    return named->bandform;
}

// A NaN bandwidth is refused for a form without a band and let through for the others.
const char* find_bandwidth_error(dsp::Bandform bandform, double bandwidth) {
    if (dsp::has_single_edge(bandform)) {
        return bandwidth != 0.0 ? "Bandwidth cannot be defined when using a non-band filter "
                                  "(bandform of type low or high pass)."
                                : nullptr;
    }
    return 0.0 >= bandwidth ? "Bandwidth must be defined as a positive number when using a filter "
                              "of type bandpass or bandstop."
                            : nullptr;
}

// Reads and checks one parameter after the other; the first that is wrong is reported.
std::optional<dsp::ButterworthParameters> read_parameters(const UnitCall& call) {
    dsp::ButterworthParameters parameters;
    parameters.cutoff = call.read_number("CutoffFrequency");
    if (0.0 >= parameters.cutoff) {
        call.report("Invalid cutoff frequency");
        return std::nullopt;
    }
    parameters.order = read_low_word(call, "Order");
    if (parameters.order <= 0) {
        call.report("Invalid order");
        return std::nullopt;
    }
    const std::optional<dsp::Bandform> bandform = parse_bandform(call);
    if (!bandform) {
        return std::nullopt;
    }
    parameters.bandform = *bandform;
    parameters.bandwidth = call.read_number("BandWidth");
    if (const char* const error = find_bandwidth_error(*bandform, parameters.bandwidth)) {
        call.report(error);
        return std::nullopt;
    }
    return parameters;
}

// The first record that cannot be filtered, if any: its rate counts before its axis.
const char* find_record_error(std::span<const set_record> records, std::int32_t axis) {
    for (const set_record& record : records) {
        if (0.0F >= record.sample_rate) {
            return MISSING_SAMPLE_RATE_MESSAGE;
        }
        if (!resolve_axis(axis, record.shape.rank())) {
            return AXIS_OUT_OF_RANGE_MESSAGE;
        }
    }
    return nullptr;
}

dsp::DesignCache build_designs(std::span<const set_record> records,
                               const dsp::ButterworthParameters& parameters) {
    std::vector<float> rates;
    rates.reserve(records.size());
    for (const set_record& record : records) {
        rates.push_back(record.sample_rate);
    }
    return dsp::build_design_cache(rates, parameters);
}

// Those with a finite rate, in its order and then in theirs: sets of one rate share a design. A
// stable sort would ask for memory.
std::vector<const BatchedSet*> sort_by_rate(std::span<const BatchedSet> sets) {
    std::vector<const BatchedSet*> sorted;
    sorted.reserve(sets.size());
    for (const BatchedSet& set : sets) {
        if (std::isfinite(set.record.sample_rate)) {
            sorted.push_back(&set);
        }
    }
    std::ranges::sort(
        sorted, {}, [](const BatchedSet* set) { return std::pair(set->record.sample_rate, set); });
    return sorted;
}

// The axis is in range for every record, and every finite rate has its design.
void filter_sets(std::span<const set_record> records, const dataset_api& sets, std::int32_t axis,
                 const dsp::DesignCache& designs) {
    dsp::SetFilter<float> filter;
    process_in_batches(records, sets, [&](std::span<const BatchedSet> batch) {
        for (const BatchedSet* set : sort_by_rate(batch)) {
            const auto extents = set->record.shape.extents();
            filter.add(set->samples, extents[*resolve_axis(axis, extents.size())],
                       designs.at(set->record.sample_rate));
        }
        filter.finish();
        for (const auto& [record, samples] : batch) {
            if (!std::isfinite(record.sample_rate)) {
                dsp::fill_missing(samples);
            }
        }
    });
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const UnitCall call(ctx, get_interface, {CONTEXT_API_ID, DATASET_API_ID, LOG_API_ID});
    const std::optional<dsp::ButterworthParameters> parameters = read_parameters(call);
    if (!parameters) {
        return false;
    }
    const std::int32_t axis = read_low_word(call, "Axis");
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    if (handles->empty()) {
        return true;
    }
    const std::vector<set_record> records = build_set_records(*handles, call.sets(), call.log());
    if (const char* const error = find_record_error(records, axis)) {
        return call.fail(error);
    }
    filter_sets(records, call.sets(), axis, build_designs(records, *parameters));
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"CutoffFrequency: number", true},
    {"Order: integer", true},
    {"Bandform: string = \"ZeroLagLowPass\"", false},
    {"BandWidth: number = 0.0", false},
    {"Axis: integer = -1", false},
};

} // namespace

constinit const UnitDescription BUTTERWORTH = {
    .identifier = get_text<"orvane.signal.apply-set-butterworth">,
    .legacy_identifier = get_text<"signal.set-butterworth">,
    .description = get_text<"Apply a Butterworth filter in place on the signal">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

#include "dsp/butterworth_design.h"
#include "dsp/filter_set.h"
#include "dsp/missing_samples.h"
#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/source_sets.h"
#include "plugin/unit_parameters.h"
#include "units/axis.h"
#include "units/messages.h"
#include "units/sample_batches.h"
#include "units/units.h"

#include <cmath>
#include <optional>
#include <stdexcept>

namespace talvora::units {

namespace {

// "Order" and "Axis" are 32-bit in this unit: what a host gives beyond them is cut off.
std::int32_t read_low_word(const context_api& context, call_context* ctx, const char* key) {
    return static_cast<std::int32_t>(context.read_integer(ctx, key));
}

// Reports what is wrong with a text that names no band form.
std::optional<dsp::Bandform> parse_bandform(const context_api& context, call_context* ctx) {
    const OwnedText text = read_text(context, ctx, "Bandform");
    if (!text.has_value()) {
        context.log_error(ctx, "Invalid bandform");
        return std::nullopt;
    }
    const auto* const named =
        std::ranges::find(dsp::BANDFORMS, text.view(), &dsp::NamedBandform::name);
    if (named == std::end(dsp::BANDFORMS)) {
        context.log_error(ctx, "Unknown bandform '%s'", text.c_str());
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
std::optional<dsp::ButterworthParameters> read_parameters(const context_api& context,
                                                          call_context* ctx) {
    dsp::ButterworthParameters parameters;
    parameters.cutoff = context.read_number(ctx, "CutoffFrequency");
    if (0.0 >= parameters.cutoff) {
        context.log_error(ctx, "Invalid cutoff frequency");
        return std::nullopt;
    }
    parameters.order = read_low_word(context, ctx, "Order");
    if (parameters.order <= 0) {
        context.log_error(ctx, "Invalid order");
        return std::nullopt;
    }
    const std::optional<dsp::Bandform> bandform = parse_bandform(context, ctx);
    if (!bandform) {
        return std::nullopt;
    }
    parameters.bandform = *bandform;
    parameters.bandwidth = context.read_number(ctx, "BandWidth");
    if (const char* const error = find_bandwidth_error(*bandform, parameters.bandwidth)) {
        context.log_error(ctx, error);
        return std::nullopt;
    }
    return parameters;
}

// The first record that cannot be filtered, if any: its rate counts before its axis.
const char* find_record_error(std::span<const axis_set_record> records) {
    for (const axis_set_record& record : records) {
        if (0.0F >= record.sample_rate) {
            return MISSING_SAMPLE_RATE_MESSAGE;
        }
        if (!resolve_axis(record.axis, record.shape.rank())) {
            return AXIS_OUT_OF_RANGE_MESSAGE;
        }
    }
    return nullptr;
}

dsp::DesignCache build_designs(std::span<const axis_set_record> records,
                               const dsp::ButterworthParameters& parameters) {
    std::vector<float> rates;
    rates.reserve(records.size());
    for (const axis_set_record& record : records) {
        rates.push_back(record.sample_rate);
    }
    return dsp::build_design_cache(rates, parameters);
}

const dsp::FilterCoefficients& find_design(const dsp::DesignCache& designs, float sample_rate) {
    const auto design = designs.find(sample_rate);
    if (design == designs.end()) {
        throw std::out_of_range("invalid unordered_map<K, T> key");
    }
    return design->second;
}

void filter_sets(std::span<const axis_set_record> records, const dataset_api& sets,
                 const dsp::DesignCache& designs) {
    dsp::SetFilter filter;
    process_in_batches(records, sets, [&](const axis_set_record& record, std::span<float> samples) {
        if (std::isfinite(record.sample_rate)) {
            const auto axis = static_cast<std::size_t>(record.axis);
            filter.filter_in_place(samples, record.shape.extents()[axis],
                                   find_design(designs, record.sample_rate));
        } else {
            dsp::fill_missing(samples);
        }
    });
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const context_api& context = get_context_api(get_interface);
    const dataset_api& sets = get_dataset_api(get_interface);
    const log_api& log = get_log_api(get_interface);

    const std::optional<dsp::ButterworthParameters> parameters = read_parameters(context, ctx);
    if (!parameters) {
        return false;
    }
    const std::int32_t axis = read_low_word(context, ctx, "Axis");
    DatasetHandleList handles;
    if (!select_source_sets(handles, ctx, get_interface)) {
        return false;
    }
    if (handles.empty()) {
        return true;
    }
    const std::vector<axis_set_record> records = build_set_records(handles, sets, log, axis);
    if (const char* const error = find_record_error(records)) {
        context.log_error(ctx, error);
        return false;
    }
    filter_sets(records, sets, build_designs(records, *parameters));
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

#include "plugin/unit_parameters.h"

#include "plugin/host_tables.h"

namespace talvora {

namespace {

constexpr parameter_signature RECTIFY[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
};

constexpr parameter_signature OPPOSITE[] = {
    {"SourceSets: list(string)", false},       {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false}, {"Axis: integer = -1", false},
    {"Components: list(integer)", false},
};

constexpr parameter_signature BASELINE_OFFSET[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"Axis: integer = -1", false},
};

constexpr parameter_signature DOWNSAMPLE[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"HintGroup: string", false},
    {"HintSet: string", false},
    {"Axis: integer = -1", false},
};

constexpr parameter_signature FILL_GAP[] = {
    {"SourceSets: list(string)", false},       {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false}, {"MaxGapLength: integer", false},
    {"HintMaxGapLength: number", false},       {"Axis: integer = -1", false},
};

constexpr parameter_signature BUTTERWORTH[] = {
    {"SourceSets: list(string)", false},
    {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false},
    {"CutoffFrequency: number", true},
    {"Order: integer", true},
    {"Bandform: string = \"ZeroLagLowPass\"", false},
    {"BandWidth: number = 0.0", false},
    {"Axis: integer = -1", false},
};

constexpr parameter_signature MAXIMUM_EXTREMA[] = {
    {"SourceGroup: string", true},
    {"DestinationGroup: string", true},
    {"NamesFilter: list(string)", false},
    {"MetricFilter: string", false},
    {"OverwriteIfGreater: boolean = false", false},
};

constexpr parameter_signature AVERAGE_SET[] = {
    {"SourceGroup: string", true},        {"DestinationGroup: string", true},
    {"NamesFilter: list(string)", false}, {"MetricFilter: string", false},
    {"Axis: integer = -1", false},
};

constexpr parameter_signature AVERAGE_SET_2[] = {
    {"SourceGroup: string", true},           {"DestinationSet: string", true},
    {"NamesFilter: list(string)", false},    {"MetricFilter: string", false},
    {"TranslationMap: list(string)", false},
};

} // namespace

constinit const std::span<const parameter_signature> RECTIFY_PARAMETERS = RECTIFY;
constinit const std::span<const parameter_signature> OPPOSITE_PARAMETERS = OPPOSITE;
constinit const std::span<const parameter_signature> BASELINE_OFFSET_PARAMETERS = BASELINE_OFFSET;
constinit const std::span<const parameter_signature> DOWNSAMPLE_PARAMETERS = DOWNSAMPLE;
constinit const std::span<const parameter_signature> FILL_GAP_PARAMETERS = FILL_GAP;
constinit const std::span<const parameter_signature> BUTTERWORTH_PARAMETERS = BUTTERWORTH;
constinit const std::span<const parameter_signature> MAXIMUM_EXTREMA_PARAMETERS = MAXIMUM_EXTREMA;
constinit const std::span<const parameter_signature> AVERAGE_SET_PARAMETERS = AVERAGE_SET;
constinit const std::span<const parameter_signature> AVERAGE_SET_2_PARAMETERS = AVERAGE_SET_2;

std::uint64_t declare_parameters(std::span<const parameter_signature> parameters, call_context* ctx,
                                 get_interface_function get_interface) {
    const context_api& context = get_context_api(get_interface);
    std::uint64_t answer = 0;
    for (const parameter_signature& parameter : parameters) {
        answer = context.declare_parameter(ctx, parameter.text, parameter.required ? 1 : 0);
    }
    return answer;
}

OwnedText read_text(const context_api& context, call_context* ctx, const char* key) {
    OwnedText text;
    context.read_string(text.out(), ctx, key);
    return text;
}

OwnedTextList read_text_list(const context_api& context, call_context* ctx, const char* key) {
    OwnedTextList list;
    context.read_string_list(list.out(), ctx, key);
    return list;
}

OwnedIntegerList read_integer_list(const context_api& context, call_context* ctx, const char* key) {
    OwnedIntegerList list;
    context.read_integer_list(list.out(), ctx, key);
    return list;
}

} // namespace talvora

#include "dsp/reductions.h"
#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/unit_call.h"
#include "units/chosen_sets.h"
#include "units/sample_buffer.h"
#include "units/units.h"

#include <array>

namespace talvora::units {

namespace {

// The set that the maxima of a source go to.
struct FeatureSet {
    dataset_handle handle{};
    bool keeps_greater = false; // than what it holds already
};

// The samples of one position, or its one value.
Selection3D select_position(std::span<const std::uint64_t> extents, std::uint64_t position,
                            std::uint64_t sample_count) {
    return {position / extents[1], position % extents[1], 0, 1, 1, sample_count};
}

float keep_greater(const dataset_api& sets, dataset_handle feature, const Selection3D& place,
                   float maximum) {
    std::array<float, 2> values{};
    read_samples(sets, feature, values, place);
    values[1] = maximum;
    return dsp::maximum(values);
}

// Positions are visited with the second dimension varying fastest.
void write_maxima(const dataset_api& sets, dataset_handle source, const OwnedShape& shape,
                  const FeatureSet& feature) {
    const auto extents = shape.extents();
    const std::uint64_t position_count = count_samples(extents.first(2));
    if (position_count == 0) {
        return; // and so nothing has to be allocated, however long the lines are said to be
    }
    const SampleBuffer buffer(extents[2]);
    for (std::uint64_t position = 0; position < position_count; ++position) {
        const Selection3D samples = select_position(extents, position, extents[2]);
        read_samples(sets, source, buffer.samples(), samples);
        float maximum = dsp::maximum(buffer.samples());
        const Selection3D place = select_position(extents, position, 1);
        if (feature.keeps_greater) {
            maximum = keep_greater(sets, feature.handle, place, maximum);
        }
        write_samples(sets, feature.handle, {&maximum, 1}, place);
    }
}

FeatureSet open_or_create_feature_set(const dataset_api& sets, group_handle group, const char* name,
                                      std::span<const std::uint64_t> source, bool keeps_greater) {
    if (sets.dataset_exists(group, name) != 0) {
        return {open_dataset(sets, group, name), keeps_greater};
    }
    const std::array<std::uint64_t, 3> extents = {source[0], source[1], 1};
    return {create_dataset(sets, group, name, extents), false};
}

// A set whose feature set cannot be had is reported and passed over.
void extract_maxima(const UnitCall& call, const ChosenSet& source, group_handle group,
                    bool keeps_greater) {
    const dataset_api& sets = call.sets();
    const char* const name = source.name.c_str();
    const OwnedShape shape = read_shape(sets, source.handle);
    // A host that gave a good shape for the check above may still refuse it here.
    const FeatureSet feature =
        shape.rank() != 3
            ? FeatureSet{}
            : open_or_create_feature_set(sets, group, name, shape.extents(), keeps_greater);
    if (sets.dataset_is_valid(feature.handle) == 0) {
        call.log().log_error(
            "Could not create nor retrieve the %s destination set due to an internal "
            "error. It will be skipped.",
            name);
        return;
    }
    write_maxima(sets, source.handle, shape, feature);
    sets.write_string_attribute(feature.handle, "MetricType", "Feature");
    sets.write_string_attribute(feature.handle, "FeatureType", "MaximumExtrema");
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const UnitCall call = begin_full_call(ctx, get_interface);
    const auto groups = open_groups(call);
    if (!groups) {
        return false;
    }
    const SourceChoice choice = read_choice(call);
    const bool keeps_greater = call.read_boolean("OverwriteIfGreater");

    const auto sources = choose_sets(call, groups->source, choice);
    if (!check_destination_shapes(call, sources, groups->destination.handle)) {
        return false;
    }
    for (const ChosenSet& source : sources) {
        extract_maxima(call, source, groups->destination.handle, keeps_greater);
    }
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceGroup: string", true},
    {"DestinationGroup: string", true},
    {"NamesFilter: list(string)", false},
    {"MetricFilter: string", false},
    {"OverwriteIfGreater: boolean = false", false},
};

} // namespace

constinit const UnitDescription MAXIMUM_EXTREMA = {
    .identifier = get_text<"orvane.signal.extract-set-maximum-extrema">,
    .legacy_identifier = nullptr,
    .description = get_text<"Extract the maximum on each component">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

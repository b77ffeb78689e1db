#include "dsp/missing_samples.h"
#include "dsp/reductions.h"
#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/unit_call.h"
#include "units/chosen_sets.h"
#include "units/line_loop.h"
#include "units/units.h"

#include <algorithm>

namespace talvora::units {

namespace {

// One run: where its results go and which axis they are the means along.
struct Averaging {
    const UnitCall& call;
    const DestinationGroup& destination;
    std::int64_t axis; // as asked for
};

void copy_attributes(const dataset_api& sets, dataset_handle source, dataset_handle destination) {
    const OwnedTextList names = list_attributes(sets, source);
    for (std::size_t i = 0; i < names.size(); ++i) {
        sets.copy_attribute(destination, source, names[i]);
    }
}

// At the line's place, one sample long; `place` is room for the selection.
void write_mean(const CurrentLine& line, std::size_t axis, dataset_handle destination,
                std::span<std::uint64_t> place) {
    const float mean = dsp::mean(line.samples);
    std::ranges::copy(line.selection, place.begin());
    place[place.size() / 2 + axis] = 1;
    write_samples(line.sets, destination, {&mean, 1}, place);
}

// Hosts follow the calls line by line, the attributes among them: they are copied anew
// with each line.
void average_lines(const dataset_api& sets, dataset_handle source, const OwnedShape& shape,
                   std::size_t axis, dataset_handle destination) {
    AxisLines lines = plan_axis_lines(shape.extents(), axis);
    const SampleBuffer buffer(lines.line_length);
    dsp::fill_missing(buffer.samples());
    Selection place(lines.selection.size());
    for_each_line(sets, source, lines, buffer, [&](const CurrentLine& line) {
        write_mean(line, axis, destination, place);
        copy_attributes(sets, source, destination);
    });
}

// A mean has no time base; what was copied from the source is written over.
void mark_as_mean(const dataset_api& sets, dataset_handle source, dataset_handle destination) {
    const OwnedText metric = read_text_attribute(sets, source, "MetricType");
    sets.write_float_attribute(destination, "SampleRate", dsp::MISSING_SAMPLE);
    sets.write_float_attribute(destination, "StartTime", dsp::MISSING_SAMPLE);
    sets.write_string_attribute(destination, "MetricType",
                                metric.view().empty() ? "Unknown" : metric.c_str());
}

// Reports a set of that name; what becomes of the creation is then the host's decision.
bool check_destination_free(const Averaging& averaging, const ChosenSet& source) {
    const auto& [call, destination, axis] = averaging;
    const char* const name = source.name.c_str();
    return call.sets().dataset_exists(destination.handle, name) == 0 ||
           call.fail("The destination set '%s' already exists in the group '%s' and cannot be "
                     "overwritten",
                     name, destination.name.c_str());
}

std::optional<std::size_t> resolve_source_axis(const Averaging& averaging, const ChosenSet& source,
                                               std::uint64_t rank) {
    const auto axis = resolve_axis(averaging.axis, rank);
    if (!axis) {
        averaging.call.report(
            "The source set '%s' cannot be processed because the axis to use is out of range "
            "(axis = %i, # dims = %lu)",
            source.name.c_str(), averaging.axis, rank);
    }
    return axis;
}

std::optional<dataset_handle> create_destination(const Averaging& averaging,
                                                 const ChosenSet& source, const OwnedShape& shape,
                                                 std::size_t axis) {
    std::vector<std::uint64_t> extents(shape.extents().begin(), shape.extents().end());
    extents[axis] = 1;
    return create_destination_set(averaging.call, averaging.destination.handle, source.name.c_str(),
                                  extents);
}

// True when the set was averaged and nothing was found amiss on the way. A destination
// that exists is reported and yet asked for; without an axis there is nothing to ask for.
bool average_set(const Averaging& averaging, const ChosenSet& source) {
    const dataset_api& sets = averaging.call.sets();
    const OwnedShape shape = read_shape(sets, source.handle);
    const auto axis = resolve_source_axis(averaging, source, shape.rank());
    const bool is_free = check_destination_free(averaging, source);
    if (!axis) {
        return false;
    }
    const auto destination = create_destination(averaging, source, shape, *axis);
    if (!destination) {
        return false;
    }
    average_lines(sets, source.handle, shape, *axis, *destination);
    mark_as_mean(sets, source.handle, *destination);
    return is_free;
}

bool average_sets(const Averaging& averaging, const std::vector<ChosenSet>& sources) {
    bool succeeded = true;
    for (const ChosenSet& source : sources) {
        succeeded = average_set(averaging, source) && succeeded;
    }
    return succeeded;
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const UnitCall call = begin_full_call(ctx, get_interface);
    const auto groups = open_groups(call);
    if (!groups) {
        return false;
    }
    const SourceChoice choice = read_choice(call);
    const std::int64_t axis = call.read_integer("Axis");

    const auto sources = choose_sets(call, groups->source, choice);
    return check_destination_shapes(call, sources, groups->destination.handle) &&
           average_sets({call, groups->destination, axis}, sources);
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceGroup: string", true},        {"DestinationGroup: string", true},
    {"NamesFilter: list(string)", false}, {"MetricFilter: string", false},
    {"Axis: integer = -1", false},
};

} // namespace

constinit const UnitDescription AVERAGE_SET = {
    .identifier = get_text<"orvane.signal.average-set">,
    .legacy_identifier = nullptr,
    .description = get_text<"Average all samples of the signal">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/source_sets.h"
#include "plugin/unit_call.h"
#include "units/sample_buffer.h"
#include "units/units.h"

#include <span>
#include <vector>

namespace talvora::units {

namespace {

// The host fills in the braces.
constexpr char AXIS_WARNING[] =
    "set-opposite : given axis {} exceeds or equals data set shape size of {}";
constexpr char COMPONENT_WARNING[] =
    "set-opposite : component {} exceeds or equals {}, which is the number of components for the "
    "given axis {}";

Selection select_component(std::span<const std::uint64_t> extents, std::uint64_t axis,
                           std::uint64_t component) {
    Selection selection = select_whole_set(extents);
    selection[axis] = component;
    selection[extents.size() + axis] = 1;
    return selection;
}

// Components are taken as unsigned, so that a negative one is out of range.
std::vector<Selection> select_components(std::span<const std::uint64_t> extents, std::uint64_t axis,
                                         std::span<const std::int64_t> components,
                                         const log_api& log) {
    std::vector<Selection> selections;
    for (const std::int64_t value : components) {
        const auto component = static_cast<std::uint64_t>(value);
        if (component < extents[axis]) {
            selections.push_back(select_component(extents, axis, component));
        } else {
            log.log_warning(COMPONENT_WARNING, component, extents[axis], axis);
        }
    }
    return selections;
}

// A negative axis means the whole set, whatever the components.
std::vector<Selection> plan_selections(std::span<const std::uint64_t> extents, std::int64_t axis,
                                       std::span<const std::int64_t> components,
                                       const log_api& log) {
    if (axis < 0) {
        return {select_whole_set(extents)};
    }
    const auto along = static_cast<std::uint64_t>(axis);
    if (along >= extents.size()) {
        log.log_warning(AXIS_WARNING, along, std::uint64_t{extents.size()});
        return {};
    }
    return select_components(extents, along, components, log);
}

// The factor is out of the compiler's sight, which would otherwise flip sign bits: a
// product leaves a NaN as it is.
void negate(std::span<float> samples) {
    static const volatile float MINUS_ONE = -1.0F;
    const float factor = MINUS_ONE;
    for (float& sample : samples) {
        sample *= factor;
    }
}

void negate_selection(const dataset_api& sets, dataset_handle set, const Selection& selection) {
    const std::span<const std::uint64_t> counts =
        std::span(selection).subspan(selection.size() / 2);
    const SampleBuffer buffer(count_samples(counts));
    read_samples(sets, set, buffer.samples(), selection);
    negate(buffer.samples());
    write_samples(sets, set, buffer.samples(), selection);
}

// A component listed twice is negated twice.
void negate_set(const UnitCall& call, dataset_handle set, std::int64_t axis,
                std::span<const std::int64_t> components) {
    const OwnedShape shape = read_shape(call.sets(), set);
    for (const Selection& selection :
         plan_selections(shape.extents(), axis, components, call.log())) {
        negate_selection(call.sets(), set, selection);
    }
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const auto handles = select_source_sets(ctx, get_interface);
    if (!handles) {
        return false;
    }
    const UnitCall call = begin_full_call(ctx, get_interface);
    const std::int64_t axis = call.read_integer("Axis");
    const OwnedIntegerList components = call.read_integer_list("Components");
    for (const dataset_handle set : *handles) {
        negate_set(call, set, axis, components.values());
    }
    return true;
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceSets: list(string)", false},       {"SourceGroup: string", false},
    {"ScanRecursive: boolean = false", false}, {"Axis: integer = -1", false},
    {"Components: list(integer)", false},
};

} // namespace

constinit const UnitDescription OPPOSITE = {
    .identifier = get_text<"orvane.signal.apply-set-opposite">,
    .legacy_identifier = get_text<"signal.set-opposite">,
    .description = get_text<"Opposite the signal in place">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

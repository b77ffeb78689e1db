#include "dsp/reductions.h"
#include "plugin/host_tables.h"
#include "plugin/set_records.h"
#include "plugin/unit_call.h"
#include "units/chosen_sets.h"
#include "units/sample_buffer.h"
#include "units/shared_messages.h"
#include "units/units.h"

#include <algorithm>
#include <array>

namespace talvora::units {

namespace {

// Between the labels of the destination's columns and the names of source sets, both
// ways. Borrows its texts.
struct Translation {
    TextMap source_of_label;
    TextMap label_of_source;
};

// `pairs` alternates labels and names of sources, an even number in all. Of pairs with
// the same key the first counts.
Translation build_translation(const OwnedTextList& pairs) {
    Translation translation;
    for (std::size_t i = 0; i < pairs.size(); i += 2) {
        const char* const label = pairs[i];
        const char* const source = pairs[i + 1];
        translation.source_of_label.try_emplace(label, source);
        translation.label_of_source.try_emplace(source, label);
    }
    return translation;
}

// What is wrong with a source's shape, if anything; it takes the set's name. The first
// shape with nothing wrong becomes the reference.
const char* find_shape_fault(OwnedShape shape, std::optional<OwnedShape>& reference) {
    if (shape.rank() != 3) {
        return NOT_THREE_DIMENSIONAL_MESSAGE;
    }
    if (shape.extents()[1] != 1) {
        return "Shape for data set %s did not have a second dimension of value 1.";
    }
    if (!reference) {
        reference = std::move(shape);
        return nullptr;
    }
    return std::ranges::equal(shape.extents(), reference->extents())
               ? nullptr
               : "Shape for data set %s differed from the first one found.";
}

// The shape that all sources have; every source that differs is reported.
std::optional<OwnedShape> find_common_shape(const UnitCall& call,
                                            const std::vector<ChosenSet>& sources) {
    std::optional<OwnedShape> reference;
    bool passed = true;
    for (const ChosenSet& source : sources) {
        const char* const fault =
            find_shape_fault(read_shape(call.sets(), source.handle), reference);
        if (fault != nullptr) {
            call.report(fault, source.name.c_str());
            passed = false;
        }
    }
    return passed ? std::move(reference) : std::nullopt;
}

std::optional<dataset_handle> open_destination(const UnitCall& call, const char* name,
                                               std::span<const std::uint64_t> extents) {
    const dataset_handle set = open_dataset(call.sets(), call.root(), name);
    if (!std::ranges::equal(read_shape(call.sets(), set).extents(), extents)) {
        call.report("Existing '%s' destination set did not have a compatible shape for "
                    "the requested calculation.",
                    name);
        return std::nullopt;
    }
    return set;
}

// The set named in "DestinationSet", a column for each source.
std::optional<dataset_handle> open_or_create_destination(const UnitCall& call,
                                                         std::uint64_t component_count,
                                                         std::uint64_t source_count) {
    const OwnedText name = call.read_text("DestinationSet");
    const std::array<std::uint64_t, 3> extents = {component_count, source_count, 1};
    return call.sets().dataset_exists(call.root(), name.c_str()) != 0
               ? open_destination(call, name.c_str(), extents)
               : create_destination_set(call, call.root(), name.c_str(), extents);
}

const char* find_label(const UnitCall& call, const TextMap& label_of_source,
                       const ChosenSet& source) {
    if (label_of_source.empty()) {
        return source.name.c_str();
    }
    const auto found = label_of_source.find(source.name);
    if (found == label_of_source.end()) {
        call.log().log_warning("Source data set name '%s' not found in provided translation map. "
                               "Will resort to using this name as the destination label.",
                               source.name.c_str());
        return source.name.c_str();
    }
    return found->second;
}

// One mean per component; the components' lines stand one behind the other.
void take_means(std::span<const float> samples, std::uint64_t line_length, std::span<float> means) {
    for (std::size_t j = 0; j < means.size(); ++j) {
        means[j] = dsp::mean(samples.subspan(j * line_length, line_length));
    }
}

// Writes one column per source; returns the columns' labels, borrowed from the sources
// and the map.
std::vector<const char*> write_columns(const UnitCall& call, const std::vector<ChosenSet>& sources,
                                       std::span<const std::uint64_t> extents,
                                       const TextMap& label_of_source, dataset_handle destination) {
    const Selection whole = select_whole_set(extents);
    const SampleBuffer buffer(count_samples(extents));
    const SampleBuffer means(extents[0]);
    std::vector<const char*> labels;
    for (const ChosenSet& source : sources) {
        read_samples(call.sets(), source.handle, buffer.samples(), whole);
        take_means(buffer.samples(), extents[2], means.samples());
        const Selection3D column = {0, labels.size(), 0, extents[0], 1, 1};
        write_samples(call.sets(), destination, means.samples(), column);
        labels.push_back(find_label(call, label_of_source, source));
    }
    return labels;
}

void write_labels(const dataset_api& sets, dataset_handle destination,
                  std::span<const char* const> labels) {
    const std::uint64_t label_count = labels.size();
    sets.write_string_list_attribute(destination, "Labels", labels.data(), &label_count, 1);
}

bool average_sets(const UnitCall& call, const std::vector<ChosenSet>& sources,
                  const TextMap& label_of_source) {
    const auto shape = find_common_shape(call, sources);
    if (!shape) {
        return false;
    }
    const auto extents = shape->extents();
    const auto destination = open_or_create_destination(call, extents[0], sources.size());
    if (!destination) {
        return false;
    }
    write_labels(call.sets(), *destination,
                 write_columns(call, sources, extents, label_of_source, *destination));
    return true;
}

bool run(call_context* ctx, get_interface_function get_interface) {
    const UnitCall call = begin_full_call(ctx, get_interface);
    const auto source_group = open_source_group(call);
    if (!source_group) {
        return false;
    }
    const SourceChoice choice = read_choice(call);
    const OwnedTextList pairs = call.read_text_list("TranslationMap");
    if (pairs.size() % 2 != 0) {
        return call.fail("Invalid translation map not having an even number of elements");
    }
    const Translation translation = build_translation(pairs);
    const auto sources = choose_sets(call, *source_group, choice, translation.source_of_label);
    if (sources.empty()) {
        call.log().log_warning(
            "No source sets found matching the specified filters. Aborting operation.");
        return true;
    }
    return average_sets(call, sources, translation.label_of_source);
}

constexpr parameter_signature PARAMETERS[] = {
    {"SourceGroup: string", true},           {"DestinationSet: string", true},
    {"NamesFilter: list(string)", false},    {"MetricFilter: string", false},
    {"TranslationMap: list(string)", false},
};

} // namespace

constinit const UnitDescription AVERAGE_SET_2 = {
    .identifier = get_text<"orvane.signal.average-set-2">,
    .legacy_identifier = nullptr,
    .description = get_text<"Average all samples of the signal and output to a single data set">,
    .declare = declare<PARAMETERS>,
    .run = run,
};

} // namespace talvora::units

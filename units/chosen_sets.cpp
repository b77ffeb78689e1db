#include "units/chosen_sets.h"

#include "plugin/host_tables.h"
#include "plugin/source_sets.h"
#include "plugin/unit_parameters.h"
#include "units/messages.h"

namespace talvora::units {

namespace {

group_handle open_or_create_group(const AggregationCall& call, const char* name) {
    group_handle group{};
    if (call.groups.group_exists(call.root, name) != 0) {
        call.groups.open_group(&group, call.root, name);
        return group;
    }
    call.groups.create_group(&group, call.root, name);
    if (group == NULL_GROUP) {
        call.context.log_error(call.ctx, "Error to create the group '%s'", name);
    }
    return group;
}

const char* translate(const TextMap& source_names, const char* name) {
    const auto found = source_names.find(name);
    return found != source_names.end() ? found->second : name;
}

bool matches_metric(const dataset_api& sets, dataset_handle set, std::string_view metric) {
    return metric.empty() || (sets.has_attribute(set, "MetricType") != 0 &&
                              read_text_attribute(sets, set, "MetricType").view() == metric);
}

bool is_one_value_per_line(const OwnedShape& shape, const OwnedShape& source) {
    return shape.rank() == source.rank() && shape.extents()[0] == source.extents()[0] &&
           shape.extents()[1] == source.extents()[1] && shape.extents()[2] == 1;
}

bool has_room_for(const AggregationCall& call, const ChosenSet& source, const OwnedShape& shape,
                  group_handle destination) {
    const char* const name = source.name.c_str();
    return call.sets.dataset_exists(destination, name) == 0 ||
           is_one_value_per_line(read_shape(call.sets, open_dataset(call.sets, destination, name)),
                                 shape);
}

bool check_destination_shape(const AggregationCall& call, const ChosenSet& source,
                             group_handle destination) {
    const OwnedShape shape = read_shape(call.sets, source.handle);
    if (shape.rank() != 3) {
        call.context.log_error(call.ctx, NOT_THREE_DIMENSIONAL_MESSAGE, source.name.c_str());
        return false;
    }
    if (!has_room_for(call, source, shape, destination)) {
        call.context.log_error(call.ctx,
                               "Data set with incompatible shape found in destination for set %s",
                               source.name.c_str());
        return false;
    }
    return true;
}

} // namespace

AggregationCall begin_aggregation(call_context* ctx, get_interface_function get_interface) {
    AggregationCall call{ctx,
                         get_context_api(get_interface),
                         get_group_api(get_interface),
                         get_dataset_api(get_interface),
                         get_log_api(get_interface),
                         NULL_GROUP};
    call.context.root_group(&call.root, ctx);
    return call;
}

SourceChoice read_choice(const AggregationCall& call) {
    SourceChoice choice;
    choice.names = read_text_list(call.context, call.ctx, "NamesFilter");
    choice.metric = read_text(call.context, call.ctx, "MetricFilter");
    return choice;
}

std::optional<group_handle> open_source_group(const AggregationCall& call) {
    const OwnedText name = read_text(call.context, call.ctx, "SourceGroup");
    return talvora::open_source_group(call.ctx, call.context, call.groups, call.root, name.c_str());
}

std::optional<DestinationGroup> open_or_create_destination_group(const AggregationCall& call) {
    DestinationGroup group{read_text(call.context, call.ctx, "DestinationGroup"), NULL_GROUP};
    group.handle = open_or_create_group(call, group.name.c_str());
    if (call.groups.group_is_valid(group.handle) == 0) {
        return std::nullopt;
    }
    return group;
}

std::optional<SourceAndDestination> open_groups(const AggregationCall& call) {
    const auto source = open_source_group(call);
    if (!source) {
        return std::nullopt;
    }
    auto destination = open_or_create_destination_group(call);
    if (!destination) {
        return std::nullopt;
    }
    return SourceAndDestination{*source, std::move(*destination)};
}

std::vector<ChosenSet> choose_sets(const AggregationCall& call, group_handle source_group,
                                   const SourceChoice& choice, const TextMap& source_names) {
    OwnedTextList listed;
    call.groups.list_datasets(listed.out(), source_group);
    const OwnedTextList& names = choice.names.size() != 0 ? choice.names : listed;
    std::vector<ChosenSet> chosen;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const dataset_handle set =
            open_dataset(call.sets, source_group, translate(source_names, names[i]));
        if (call.sets.dataset_is_valid(set) == 0) {
            call.log.log_warning(NO_DATA_SET_MESSAGE, names[i]);
        } else if (matches_metric(call.sets, set, choice.metric.view())) {
            chosen.push_back({names[i], set});
        }
    }
    return chosen;
}

bool check_destination_shapes(const AggregationCall& call, const std::vector<ChosenSet>& sources,
                              group_handle destination) {
    bool passed = true;
    for (const ChosenSet& source : sources) {
        passed = check_destination_shape(call, source, destination) && passed;
    }
    return passed;
}

OwnedShape read_shape(const dataset_api& sets, dataset_handle set) {
    OwnedShape shape;
    sets.dataset_shape(shape.out(), set);
    return shape;
}

OwnedText read_text_attribute(const dataset_api& sets, dataset_handle set, const char* name) {
    OwnedText text;
    sets.read_string_attribute(text.out(), set, name);
    return text;
}

dataset_handle open_dataset(const dataset_api& sets, group_handle group, const char* name) {
    dataset_handle set{};
    sets.open_dataset(&set, group, name);
    return set;
}

dataset_handle create_dataset(const dataset_api& sets, group_handle group, const char* name,
                              std::span<const std::uint64_t> extents) {
    dataset_handle set{};
    sets.create_dataset(&set, group, name, extents.data(), extents.size());
    return set;
}

} // namespace talvora::units

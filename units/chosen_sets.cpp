#include "units/chosen_sets.h"

#include "plugin/host_tables.h"
#include "plugin/source_sets.h"
#include "units/shared_messages.h"

namespace talvora::units {

namespace {

group_handle open_or_create_group(const UnitCall& call, const char* name) {
    if (call.groups().group_exists(call.root(), name) != 0) {
        return open_group(call.groups(), call.root(), name);
    }
    group_handle group{};
    call.groups().create_group(&group, call.root(), name);
    if (group == NULL_GROUP) {
        call.report("Error to create the group '%s'", name);
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

bool has_room_for(const UnitCall& call, const ChosenSet& source, const OwnedShape& shape,
                  group_handle destination) {
    const char* const name = source.name.c_str();
    return call.sets().dataset_exists(destination, name) == 0 ||
           is_one_value_per_line(
               read_shape(call.sets(), open_dataset(call.sets(), destination, name)), shape);
}

bool check_destination_shape(const UnitCall& call, const ChosenSet& source,
                             group_handle destination) {
    const OwnedShape shape = read_shape(call.sets(), source.handle);
    if (shape.rank() != 3) {
        return call.fail(NOT_THREE_DIMENSIONAL_MESSAGE, source.name.c_str());
    }
    if (!has_room_for(call, source, shape, destination)) {
        return call.fail("Data set with incompatible shape found in destination for set %s",
                         source.name.c_str());
    }
    return true;
}

} // namespace

SourceChoice read_choice(const UnitCall& call) {
    SourceChoice choice;
    choice.names = call.read_text_list("NamesFilter");
    choice.metric = call.read_text("MetricFilter");
    return choice;
}

std::optional<group_handle> open_source_group(const UnitCall& call) {
    return talvora::open_source_group(call, call.read_text("SourceGroup"));
}

std::optional<DestinationGroup> open_or_create_destination_group(const UnitCall& call) {
    DestinationGroup group{call.read_text("DestinationGroup"), NULL_GROUP};
    group.handle = open_or_create_group(call, group.name.c_str());
    if (call.groups().group_is_valid(group.handle) == 0) {
        return std::nullopt;
    }
    return group;
}

std::optional<SourceAndDestination> open_groups(const UnitCall& call) {
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

std::vector<ChosenSet> choose_sets(const UnitCall& call, group_handle source_group,
                                   const SourceChoice& choice, const TextMap& source_names) {
    const OwnedTextList listed = list_datasets(call.groups(), source_group);
    const OwnedTextList& names = choice.names.size() != 0 ? choice.names : listed;
    std::vector<ChosenSet> chosen;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const dataset_handle set =
            open_dataset(call.sets(), source_group, translate(source_names, names[i]));
        if (call.sets().dataset_is_valid(set) == 0) {
            call.log().log_warning(NO_DATA_SET_MESSAGE, names[i]);
        } else if (matches_metric(call.sets(), set, choice.metric.view())) {
            chosen.push_back({names[i], set});
        }
    }
    return chosen;
}

std::optional<dataset_handle> create_destination_set(const UnitCall& call, group_handle group,
                                                     const char* name,
                                                     std::span<const std::uint64_t> extents) {
    const dataset_handle set = create_dataset(call.sets(), group, name, extents);
    if (call.sets().dataset_is_valid(set) == 0) {
        call.report("Could not create the '%s' destination set due to an internal error.", name);
        return std::nullopt;
    }
    return set;
}

bool check_destination_shapes(const UnitCall& call, const std::vector<ChosenSet>& sources,
                              group_handle destination) {
    bool passed = true;
    for (const ChosenSet& source : sources) {
        passed = check_destination_shape(call, source, destination) && passed;
    }
    return passed;
}

} // namespace talvora::units

#include "plugin/host_tables.h"

namespace talvora {

group_handle open_group(const group_api& groups, group_handle parent, const char* path) {
    group_handle group{};
    groups.open_group(&group, parent, path);
    return group;
}

OwnedTextList list_groups(const group_api& groups, group_handle group) {
    OwnedTextList names;
    groups.list_groups(names.out(), group);
    return names;
}

OwnedTextList list_datasets(const group_api& groups, group_handle group) {
    OwnedTextList names;
    groups.list_datasets(names.out(), group);
    return names;
}

dataset_handle open_dataset(const dataset_api& sets, group_handle group, const char* path) {
    dataset_handle set{};
    sets.open_dataset(&set, group, path);
    return set;
}

dataset_handle create_dataset(const dataset_api& sets, group_handle group, const char* name,
                              std::span<const std::uint64_t> extents) {
    dataset_handle set{};
    sets.create_dataset(&set, group, name, extents.data(), extents.size());
    return set;
}

OwnedShape read_shape(const dataset_api& sets, dataset_handle set) {
    OwnedShape shape;
    sets.dataset_shape(shape.out(), set);
    return shape;
}

OwnedTextList list_attributes(const dataset_api& sets, dataset_handle set) {
    OwnedTextList names;
    sets.list_attributes(names.out(), set);
    return names;
}

OwnedText read_text_attribute(const dataset_api& sets, dataset_handle set, const char* name) {
    OwnedText text;
    sets.read_string_attribute(text.out(), set, name);
    return text;
}

} // namespace talvora

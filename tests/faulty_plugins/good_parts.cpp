#include "tests/faulty_plugins/good_parts.h"

namespace talvora::sample {

const void* answer(std::uint32_t* count_out, std::int32_t kind,
                   std::span<const unit_descriptor> units) {
    if (kind != PLUGIN_DESCRIPTOR_KIND && kind != UNIT_TABLE_KIND) {
        return nullptr;
    }
    const bool is_descriptor = kind == PLUGIN_DESCRIPTOR_KIND;
    *count_out = is_descriptor ? 1 : static_cast<std::uint32_t>(units.size());
    return is_descriptor ? static_cast<const void*>(&DESCRIPTOR) : units.data();
}

const context_api& context(get_interface_function get) {
    return *static_cast<const context_api*>(get(CONTEXT_API_ID));
}

const group_api& groups(get_interface_function get) {
    return *static_cast<const group_api*>(get(GROUP_API_ID));
}

const dataset_api& datasets(get_interface_function get) {
    return *static_cast<const dataset_api*>(get(DATASET_API_ID));
}

std::uint64_t declare_group(call_context* ctx, get_interface_function get) {
    return context(get).declare_parameter(ctx, "SourceGroup: string", 1);
}

void free_texts(host_list& list) {
    for (std::uint64_t i = 0; list.items != nullptr && i < list.count; ++i) {
        std::free(static_cast<char**>(list.items)[i]);
    }
    std::free(list.items);
    std::free(list.aux);
}

void free_shape(host_shape& shape) {
    std::free(shape.dims);
    std::free(shape.aux);
}

bool open_source_group(call_context* ctx, get_interface_function get, group_handle& group) {
    group_handle root{};
    context(get).root_group(&root, ctx);
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    if (name.text != nullptr) {
        groups(get).open_group(&group, root, name.text);
    }
    const bool is_valid = name.text != nullptr && groups(get).group_is_valid(group) != 0;
    if (!is_valid) {
        context(get).log_error(ctx, "no group to work on");
    }
    std::free(name.text);
    std::free(name.aux);
    return is_valid;
}

std::vector<dataset_handle> open_sets(get_interface_function get, group_handle group) {
    host_list names{};
    groups(get).list_datasets(&names, group);
    std::vector<dataset_handle> sets;
    for (std::uint64_t i = 0; names.items != nullptr && i < names.count; ++i) {
        dataset_handle set{};
        datasets(get).open_dataset(&set, group, static_cast<char**>(names.items)[i]);
        if (datasets(get).dataset_is_valid(set) != 0) {
            sets.push_back(set);
        }
    }
    free_texts(names);
    return sets;
}

std::vector<std::uint64_t> select_all(get_interface_function get, dataset_handle set) {
    host_shape shape{};
    datasets(get).dataset_shape(&shape, set);
    std::vector<std::uint64_t> selection(shape.rank);
    selection.insert(selection.end(), shape.dims, shape.dims + shape.rank);
    free_shape(shape);
    return selection;
}

std::uint64_t count_samples(std::span<const std::uint64_t> selection) {
    std::uint64_t count = selection.empty() ? 0 : 1;
    for (const std::uint64_t extent : selection.last(selection.size() / 2)) {
        count *= extent;
    }
    return count;
}

std::vector<float> read_all(get_interface_function get, dataset_handle set) {
    const auto selection = select_all(get, set);
    std::vector<float> samples(count_samples(selection));
    if (!samples.empty()) {
        datasets(get).read_samples(set, samples.data(), selection.data(), selection.size());
    }
    return samples;
}

void write_all(get_interface_function get, dataset_handle set, const std::vector<float>& samples) {
    const auto selection = select_all(get, set);
    if (!samples.empty() && count_samples(selection) == samples.size()) {
        datasets(get).write_samples(set, samples.data(), selection.data(), selection.size());
    }
}

bool find_sets(call_context* ctx, get_interface_function get, std::vector<dataset_handle>& sets) {
    group_handle group{};
    if (!open_source_group(ctx, get, group)) {
        return false;
    }
    sets = open_sets(get, group);
    return true;
}

bool negate_group(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    for (const dataset_handle set : sets) {
        std::vector<float> samples = read_all(get, set);
        for (float& sample : samples) {
            sample = -sample;
        }
        write_all(get, set, samples);
    }
    return true;
}

} // namespace talvora::sample

// Table 8: data sets, their samples and their attributes.
#include "host/interface/interface_tables.h"
#include "host/interface/record_makers.h"
#include "host/interface/table_objects.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

namespace talvora::host {

namespace {

// ---------------------------------------------------------------------------
// Arrays that the plug-in passes

template <typename Item>
std::span<const Item> checked_array(const Item* items, std::uint64_t count) {
    if (items == nullptr && count > 0) {
        throw InterfaceBreak("called with a null array");
    }
    return {items, count};
}

// No more dimensions are read than a set can have.
Extents checked_extents(const std::uint64_t* extents, std::uint64_t rank) {
    if (rank > MAX_RANK) {
        throw TreeError(fmt::format("the rank {} is above {}", rank, MAX_RANK));
    }
    const auto given = checked_array(extents, rank);
    return {given.begin(), given.end()};
}

// What the interface calls a selection: the starts, then the counts.
Hyperslab checked_slab(const std::uint64_t* given, std::uint64_t word_count) {
    if (word_count % 2 != 0 || word_count > 2 * MAX_RANK) {
        throw TreeError(
            fmt::format("a selection cannot have {} words (allowed: twice the rank)", word_count));
    }
    const auto words = checked_array(given, word_count);
    return {words.first(word_count / 2), words.last(word_count / 2)};
}

// The samples behind a pointer: as many as the hyperslab holds. The tree checks that
// they are inside the set before any is touched.
template <typename Sample>
std::span<Sample> checked_samples(Sample* samples, const Hyperslab& slab) {
    const std::uint64_t count = count_samples(slab.counts);
    if (samples == nullptr && count > 0) {
        throw InterfaceBreak("called with null samples");
    }
    return {samples, count};
}

// ---------------------------------------------------------------------------
// Sets and samples

// A taken name is the caller's to report: it gets no handle, and nothing is noted.
void create_dataset(dataset_handle* out, group_handle group, const char* name,
                    const std::uint64_t* extents, std::uint64_t rank) {
    *out = answer("create_dataset", [&](HostCall& call) {
        const ObjectId parent = object_of(call, group);
        if (call.tree().find(parent, checked_text(name))) {
            return dataset_handle{};
        }
        return to_handle<dataset_handle>(
            call.tree().create_dataset(parent, name, checked_extents(extents, rank)));
    });
}

host_flag dataset_exists(group_handle group, const char* name) {
    return answer("dataset_exists", [&](HostCall& call) -> host_flag {
        return find_object(call, group, name, ObjectKind::DataSet) ? 1 : 0;
    });
}

host_flag dataset_is_valid(dataset_handle set) {
    return answer("dataset_is_valid",
                  [&](HostCall& call) -> host_flag { return is_valid(call, set) ? 1 : 0; });
}

void read_samples(dataset_handle set, float* destination, const std::uint64_t* selection,
                  std::uint64_t word_count) {
    answer("read_samples", [&](HostCall& call) {
        const Hyperslab slab = checked_slab(selection, word_count);
        call.tree().read(object_of(call, set), slab, checked_samples(destination, slab));
    });
}

void write_samples(dataset_handle set, const float* source, const std::uint64_t* selection,
                   std::uint64_t word_count) {
    answer("write_samples", [&](HostCall& call) {
        const Hyperslab slab = checked_slab(selection, word_count);
        call.tree().write(object_of(call, set), slab, checked_samples(source, slab));
    });
}

// The unit will say that there is no such set; this says what there is instead.
void explain_other(HostCall& call, ObjectId object) {
    const std::string path = call.tree().path(object);
    const auto [group_path, name] = split_last(path);
    const auto group = call.tree().find(call.tree().root(), group_path);
    for (const OtherObject& other : call.tree().list_others(group.value_or(call.tree().root()))) {
        if (other.name == name) {
            call.send(Message::Warning,
                      fmt::format("'{}' cannot be used ({}): convert it to a data set of real "
                                  "numbers, of rank 1 or more, first",
                                  path, other.description));
        }
    }
}

void open_dataset(dataset_handle* out, group_handle group, const char* path) {
    *out = answer("open_dataset", [&](HostCall& call) {
        const auto found = call.tree().find(object_of(call, group), checked_text(path));
        if (found && call.tree().kind(*found) == ObjectKind::Other) {
            explain_other(call, *found);
        }
        return to_handle<dataset_handle>(find_object(call, group, path, ObjectKind::DataSet));
    });
}

void dataset_shape(host_shape* out, dataset_handle set) {
    fill_record("dataset_shape", out, [&](HostCall& call) {
        return make_shape(call.tree().extents(object_of(call, set)));
    });
}

void resize_dataset(dataset_handle set, const std::uint64_t* extents, std::uint64_t rank) {
    answer("resize_dataset", [&](HostCall& call) {
        call.tree().resize(object_of(call, set), checked_extents(extents, rank));
    });
}

// ---------------------------------------------------------------------------
// Attributes

void write_attribute(const char* slot, dataset_handle set, const char* name,
                     const AttributeValue& value) {
    answer(slot, [&](HostCall& call) {
        call.tree().write_attribute(object_of(call, set), checked_text(name), value);
    });
}

// Nothing when the tree cannot read its type, as with references that other programs
// keep beside their sets; the user is told, and the rest of the set is still of use.
std::optional<AttributeValue> read_or_warn(HostCall& call, ObjectId object,
                                           const std::string& name) {
    try {
        auto value = call.tree().read_attribute(object, name);
        if (!value) {
            call.refuse("copy_attribute",
                        fmt::format("'{}' has no attribute '{}'", call.tree().path(object), name));
        }
        return value;
    } catch (const TreeError& error) {
        call.send(Message::Warning, fmt::format("not copied: {}", error.what()));
        return std::nullopt;
    }
}

void copy_attribute(dataset_handle destination, dataset_handle source, const char* name) {
    answer("copy_attribute", [&](HostCall& call) {
        const ObjectId to = object_of(call, destination);
        const std::string key = checked_text(name);
        if (const auto value = read_or_warn(call, object_of(call, source), key)) {
            call.tree().write_attribute(to, key, *value);
        }
    });
}

void list_attributes(host_list* out, dataset_handle set) {
    fill_record("list_attributes", out, [&](HostCall& call) {
        return make_text_list(call.tree().list_attributes(object_of(call, set)));
    });
}

void write_integer_attribute(dataset_handle set, const char* name, std::int64_t value) {
    write_attribute("write_integer_attribute", set, name, value);
}

void write_float_attribute(dataset_handle set, const char* name, float value) {
    write_attribute("write_float_attribute", set, name, value);
}

void write_number_attribute(dataset_handle set, const char* name, double value) {
    write_attribute("write_number_attribute", set, name, value);
}

void write_string_attribute(dataset_handle set, const char* name, const char* value) {
    answer("write_string_attribute", [&](HostCall& call) {
        call.tree().write_attribute(object_of(call, set), checked_text(name),
                                    std::string(checked_text(value)));
    });
}

void write_integer_array_attribute(dataset_handle set, const char* name, const std::int64_t* values,
                                   const std::uint64_t* extents, std::uint64_t rank) {
    answer("write_integer_array_attribute", [&](HostCall& call) {
        IntegerArray array{{}, checked_extents(extents, rank)};
        const auto given = checked_array(values, count_samples(array.extents));
        array.values.assign(given.begin(), given.end());
        call.tree().write_attribute(object_of(call, set), checked_text(name), array);
    });
}

void write_string_list_attribute(dataset_handle set, const char* name, const char* const* values,
                                 const std::uint64_t* extents, std::uint64_t rank) {
    answer("write_string_list_attribute", [&](HostCall& call) {
        TextArray array{{}, checked_extents(extents, rank)};
        for (const char* text : checked_array(values, count_samples(array.extents))) {
            array.values.emplace_back(checked_text(text));
        }
        call.tree().write_attribute(object_of(call, set), checked_text(name), array);
    });
}

host_flag dataset_has_attribute(dataset_handle set, const char* name) {
    return answer("has_attribute", [&](HostCall& call) -> host_flag {
        return has_attribute(call.tree(), object_of(call, set), checked_text(name)) ? 1 : 0;
    });
}

float read_float_attribute(dataset_handle set, const char* name) {
    return answer("read_float_attribute", [&](HostCall& call) {
        return read_float(call.tree(), object_of(call, set), checked_text(name));
    });
}

void read_string_attribute(host_string* out, dataset_handle set, const char* name) {
    fill_record("read_string_attribute", out, [&](HostCall& call) {
        const auto text = read_text(call.tree(), object_of(call, set), checked_text(name));
        return text ? make_string(*text) : make_absent_string();
    });
}

} // namespace

const dataset_api DATASET_TABLE{.create_dataset = create_dataset,
                                .slots_1_to_2 = {},
                                .dataset_exists = dataset_exists,
                                .dataset_is_valid = dataset_is_valid,
                                .slots_5_to_6 = {},
                                .read_samples = read_samples,
                                .slots_8_to_9 = {},
                                .open_dataset = open_dataset,
                                .dataset_shape = dataset_shape,
                                .slot_12 = nullptr,
                                .resize_dataset = resize_dataset,
                                .write_samples = write_samples,
                                .slots_15_to_17 = {},
                                .copy_attribute = copy_attribute,
                                .slot_19 = nullptr,
                                .list_attributes = list_attributes,
                                .slots_21_to_29 = {},
                                .write_integer_attribute = write_integer_attribute,
                                .slot_31 = nullptr,
                                .write_float_attribute = write_float_attribute,
                                .write_number_attribute = write_number_attribute,
                                .write_string_attribute = write_string_attribute,
                                .slots_35_to_41 = {},
                                .write_integer_array_attribute = write_integer_array_attribute,
                                .slots_43_to_45 = {},
                                .write_string_list_attribute = write_string_list_attribute,
                                .has_attribute = dataset_has_attribute,
                                .slots_48_to_56 = {},
                                .read_float_attribute = read_float_attribute,
                                .slot_58 = nullptr,
                                .read_string_attribute = read_string_attribute};

} // namespace talvora::host

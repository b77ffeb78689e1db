#include "host/hdf5/hdf5_attributes.h"

#include "host/hdf5/hdf5_types.h"
#include "host/hdf5/hdf5_values.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace talvora::host::hdf5 {

namespace {

// Of what takes the place of an attribute, until it is complete.
constexpr char UNFINISHED_NAME[] = ".talvora-unfinished";

herr_t append_name(hid_t, const char* name, const H5A_info_t*, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return 0;
}

bool exists(hid_t object, const std::string& name) {
    return checked(H5Aexists(object, name.c_str()), "look for the attribute", name) > 0;
}

Id create_attribute(hid_t object, const std::string& name, hid_t type, hid_t space) {
    return owned(H5Acreate2(object, name.c_str(), type, space, attribute_naming(), H5P_DEFAULT),
                 "create the attribute", name);
}

void delete_attribute(hid_t object, const std::string& name) {
    checked(H5Adelete(object, name.c_str()), "delete the attribute", name);
}

// ---------------------------------------------------------------------------
// Writing

// A new attribute with its values; none when they cannot be written.
void create_with_values(hid_t object, const std::string& name, hid_t file_type, hid_t memory_type,
                        hid_t space, const void* values) {
    const Id attribute = create_attribute(object, name, file_type, space);
    try {
        checked(H5Awrite(attribute, memory_type, values), "write the attribute", name);
    } catch (const TreeError&) {
        H5Adelete(object, name.c_str()); // as far as that can be done: the failure is told
        throw;
    }
}

Id text_type() {
    Id type = owned(H5Tcopy(H5T_C_S1), "make", "a type of texts");
    checked(H5Tset_size(type, H5T_VARIABLE), "make", "a type of texts");
    checked(H5Tset_cset(type, H5T_CSET_UTF8), "make", "a type of texts");
    return type;
}

// Creates an attribute for each type of value.
struct Creator {
    hid_t object;
    const std::string& name;

    void operator()(std::int64_t value) const {
        create(H5T_STD_I64LE, H5T_NATIVE_INT64, make_scalar_space(), &value);
    }
    void operator()(float value) const {
        create(H5T_IEEE_F32LE, H5T_NATIVE_FLOAT, make_scalar_space(), &value);
    }
    void operator()(double value) const {
        create(H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, make_scalar_space(), &value);
    }
    void operator()(const std::string& value) const {
        const char* pointer = value.c_str();
        create(text_type(), text_type(), make_scalar_space(), &pointer);
    }
    void operator()(const IntegerArray& array) const {
        create_array(H5T_STD_I64LE, H5T_NATIVE_INT64, array.values, array.extents);
    }
    void operator()(const NumberArray& array) const {
        create_array(H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, array.values, array.extents);
    }
    void operator()(const TextArray& array) const {
        std::vector<const char*> pointers;
        for (const std::string& text : array.values) {
            pointers.push_back(text.c_str());
        }
        create_array(text_type(), text_type(), std::move(pointers), array.extents);
    }

  private:
    void create(hid_t file_type, hid_t memory_type, hid_t space, const void* values) const {
        create_with_values(object, name, file_type, memory_type, space, values);
    }
    template <typename Value>
    void create_array(hid_t file_type, hid_t memory_type, std::vector<Value> values,
                      const Extents& extents) const {
        values.reserve(1); // the library asks for a place even without values
        create(file_type, memory_type, make_space(extents, false), values.data());
    }
};

std::vector<std::string> list_names(hid_t object, H5_index_t index, H5_iter_order_t order) {
    std::vector<std::string> names;
    hsize_t position = 0;
    checked(H5Aiterate2(object, index, order, &position, append_name, &names), "list",
            "attributes");
    return names;
}

// In the order in which they were made where the set keeps that, else as they are stored.
std::vector<std::string> list_as_made(hid_t set, hid_t properties) {
    unsigned order = 0;
    checked(H5Pget_attr_creation_order(properties, &order), "read", "the order of attributes");
    return (order & H5P_CRT_ORDER_TRACKED) != 0 ? list_names(set, H5_INDEX_CRT_ORDER, H5_ITER_INC)
                                                : list_names(set, H5_INDEX_NAME, H5_ITER_NATIVE);
}

} // namespace

std::vector<std::string> list_attributes(hid_t object) {
    std::vector<std::string> names = list_names(object, H5_INDEX_NAME, H5_ITER_INC);
    std::ranges::sort(names);
    return names;
}

std::optional<AttributeValue> read_attribute(hid_t object, const std::string& name,
                                             std::string_view path) {
    if (name.empty() || !exists(object, name)) {
        return std::nullopt;
    }
    const OpenValues values = open_attribute(object, name);
    return read_values(values, fmt::format("the attribute '{}' of '{}'", name, path));
}

void write_attribute(hid_t object, const std::string& name, const AttributeValue& value) {
    if (!exists(object, name)) {
        return std::visit(Creator{object, name}, value);
    }
    const std::string unfinished = UNFINISHED_NAME;
    if (exists(object, unfinished)) {
        delete_attribute(object, unfinished);
    }
    std::visit(Creator{object, unfinished}, value);
    delete_attribute(object, name);
    checked(H5Arename(object, unfinished.c_str(), name.c_str()), "write the attribute", name);
}

void copy_attributes(hid_t from, hid_t properties, hid_t to) {
    for (const std::string& name : list_as_made(from, properties)) {
        const OpenValues source = open_attribute(from, name);
        std::vector<std::byte> values(std::max<std::size_t>(source.count(), 1) *
                                      type_size(source.type));
        if (source.count() > 0) {
            source.read(source.type, values.data());
        }
        const ReclaimTexts reclaim(source, values.data());
        create_with_values(to, name, source.type, source.type, source.space, values.data());
    }
}

} // namespace talvora::host::hdf5

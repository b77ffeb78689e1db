#include "host/hdf5/hdf5_attributes.h"

#include "host/hdf5/hdf5_types.h"
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

Id open_attribute(hid_t object, const std::string& name) {
    return owned(H5Aopen(object, name.c_str(), H5P_DEFAULT), "open the attribute", name);
}

Id create_attribute(hid_t object, const std::string& name, hid_t type, hid_t space) {
    return owned(H5Acreate2(object, name.c_str(), type, space, attribute_naming(), H5P_DEFAULT),
                 "create the attribute", name);
}

void delete_attribute(hid_t object, const std::string& name) {
    checked(H5Adelete(object, name.c_str()), "delete the attribute", name);
}

// An attribute that is open for reading.
struct OpenAttribute {
    OpenAttribute(hid_t object, const std::string& attribute_name)
        : name(attribute_name), id(open_attribute(object, name)),
          type(owned(H5Aget_type(id), "read the type of the attribute", name)),
          space(owned(H5Aget_space(id), "read the extents of the attribute", name)) {}

    std::size_t count() const {
        return has_no_elements(space) ? 0 : count_samples(space_extents(space));
    }
    void read(hid_t memory_type, void* values) const {
        checked(H5Aread(id, memory_type, values), "read the attribute", name);
    }

    std::string name;
    Id id;
    Id type;
    Id space;
};

// ---------------------------------------------------------------------------
// Reading

// Never without room, so that there is always a place to read to.
template <typename Value>
std::vector<Value> read_values(const OpenAttribute& attribute, hid_t memory_type) {
    std::vector<Value> values(std::max<std::size_t>(attribute.count(), 1));
    attribute.read(memory_type, values.data());
    values.resize(attribute.count());
    return values;
}

bool is_wide_unsigned(hid_t type) {
    return type_class(type) == H5T_INTEGER && is_unsigned(type) &&
           type_size(type) >= sizeof(std::uint64_t);
}

std::vector<std::int64_t> read_integers(const OpenAttribute& attribute) {
    if (is_wide_unsigned(attribute.type)) {
        for (const auto value : read_values<std::uint64_t>(attribute, H5T_NATIVE_UINT64)) {
            if (value > std::numeric_limits<std::int64_t>::max()) {
                throw TreeError(fmt::format("the attribute '{}' holds {}, which is too large for a "
                                            "signed integer of 64 bits",
                                            attribute.name, value));
            }
        }
    }
    return read_values<std::int64_t>(attribute, H5T_NATIVE_INT64);
}

// Gives back what the library allocated for texts of variable length. Memory that cannot be
// given back is lost, and nothing else.
struct Reclaim {
    const OpenAttribute& attribute;
    void* values;
    Reclaim(const OpenAttribute& of, void* given) : attribute(of), values(given) {}
    Reclaim(const Reclaim&) = delete;
    Reclaim& operator=(const Reclaim&) = delete;
    ~Reclaim() { H5Dvlen_reclaim(attribute.type, attribute.space, H5P_DEFAULT, values); }
};

std::vector<std::string> read_variable_texts(const OpenAttribute& attribute) {
    std::vector<char*> pointers = read_values<char*>(attribute, attribute.type);
    const Reclaim reclaim(attribute, pointers.data());
    std::vector<std::string> texts;
    texts.reserve(pointers.size());
    for (const char* text : pointers) {
        texts.emplace_back(text == nullptr ? "" : text);
    }
    return texts;
}

std::string trim_fixed(std::string_view text, H5T_str_t padding) {
    if (padding != H5T_STR_SPACEPAD) {
        return std::string(text.substr(0, text.find('\0')));
    }
    return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

std::vector<std::string> read_fixed_texts(const OpenAttribute& attribute) {
    const std::size_t size = type_size(attribute.type);
    std::string block(std::max<std::size_t>(attribute.count(), 1) * size, '\0');
    attribute.read(attribute.type, block.data());
    const H5T_str_t padding =
        checked(H5Tget_strpad(attribute.type), "read the padding of", attribute.name);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < attribute.count(); ++i) {
        texts.push_back(trim_fixed(std::string_view(block).substr(i * size, size), padding));
    }
    return texts;
}

std::vector<std::string> read_texts(const OpenAttribute& attribute) {
    return checked(H5Tis_variable_str(attribute.type), "read the type of", attribute.name) > 0
               ? read_variable_texts(attribute)
               : read_fixed_texts(attribute);
}

// A value of its own when the attribute is a scalar, else an array with its extents.
template <typename Scalar, typename Array, typename Values>
AttributeValue scalar_or_array(const OpenAttribute& attribute, Values values) {
    Extents extents = space_extents(attribute.space);
    if (extents.empty()) {
        return static_cast<Scalar>(std::move(values.at(0)));
    }
    return Array{std::move(values), std::move(extents)};
}

AttributeValue read_floats(const OpenAttribute& attribute) {
    std::vector<double> values = read_values<double>(attribute, H5T_NATIVE_DOUBLE);
    if (type_size(attribute.type) <= sizeof(float)) {
        return scalar_or_array<float, NumberArray>(attribute, std::move(values));
    }
    return scalar_or_array<double, NumberArray>(attribute, std::move(values));
}

AttributeValue read_value(const OpenAttribute& attribute, std::string_view path) {
    if (has_no_elements(attribute.space)) {
        throw TreeError(
            fmt::format("the attribute '{}' of '{}' has no value", attribute.name, path));
    }
    switch (type_class(attribute.type)) {
    case H5T_INTEGER:
    case H5T_ENUM:
        return scalar_or_array<std::int64_t, IntegerArray>(attribute, read_integers(attribute));
    case H5T_FLOAT:
        return read_floats(attribute);
    case H5T_STRING:
        return scalar_or_array<std::string, TextArray>(attribute, read_texts(attribute));
    default:
        throw TreeError(fmt::format("the attribute '{}' of '{}' holds {} and cannot be read "
                                    "(allowed: integers, floats, texts)",
                                    attribute.name, path, describe_type(attribute.type)));
    }
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
    return read_value(OpenAttribute(object, name), path);
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
        const OpenAttribute source(from, name);
        std::vector<std::byte> values(std::max<std::size_t>(source.count(), 1) *
                                      type_size(source.type));
        if (source.count() > 0) {
            source.read(source.type, values.data());
        }
        const Reclaim reclaim{source, values.data()};
        create_with_values(to, name, source.type, source.type, source.space, values.data());
    }
}

} // namespace talvora::host::hdf5

#include "host/hdf5/hdf5_attributes.h"

#include "host/hdf5/hdf5_types.h"
#include "host/hdf5/hdf5_values.h"
#include "host/text/plural.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace talvora::host::hdf5 {

namespace {

// Of what is made to see whether it can be.
constexpr char TRIAL_NAME[] = ".talvora-unfinished";

herr_t append_name(hid_t, const char* name, const H5A_info_t*, void* names) {
    static_cast<std::vector<std::string>*>(names)->emplace_back(name);
    return 0;
}

bool exists(hid_t object, const std::string& name) {
    return checked(H5Aexists(object, name.c_str()), "look for the attribute", name) > 0;
}

// By which letters its name is known.
Id naming_of(hid_t attribute) {
    return owned(H5Aget_create_plist(attribute), "read", "the name of an attribute");
}

bool is_variable_text(hid_t type) {
    return checked(H5Tis_variable_str(type), "read", "a type of texts") > 0;
}

// ---------------------------------------------------------------------------
// Writing

// Values for an attribute, and how they are to be stored.
struct NewValues {
    hid_t type;
    hid_t memory_type;
    hid_t space;
    const void* values;
};

// Of an attribute in an object of the older format of files, which nothing but making the object
// anew changes.
constexpr std::uint64_t MAX_OLD_BYTES = std::uint64_t{64} * 1024;

std::uint64_t count_bytes(const NewValues& given) {
    const auto count =
        checked(H5Sget_simple_extent_npoints(given.space), "read", "the extents of an attribute");
    return type_size(given.type) * static_cast<std::uint64_t>(count);
}

Id create(hid_t object, const std::string& name, hid_t naming, const NewValues& given) {
    try {
        return owned(H5Acreate2(object, name.c_str(), given.type, given.space, naming, H5P_DEFAULT),
                     "create the attribute", name);
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError& error) {
        const std::uint64_t bytes = count_bytes(given);
        if (bytes < MAX_OLD_BYTES) {
            throw;
        }
        throw TooLongAttribute(fmt::format("{} ({} bytes: an object in the older format of HDF5 "
                                           "files takes less than {}; one that h5py makes with "
                                           "libver='latest' takes more)",
                                           error.what(), bytes, MAX_OLD_BYTES));
    }
}

// A new attribute with its values; none when they cannot be written.
void create_with_values(hid_t object, const std::string& name, hid_t naming,
                        const NewValues& given) {
    const Id attribute = create(object, name, naming, given);
    try {
        checked(H5Awrite(attribute, given.memory_type, given.values), "write the attribute", name);
    } catch (const TreeError&) {
        H5Adelete(object, name.c_str()); // as far as that can be done: the failure is told
        throw;
    }
}

bool is_stored_like(const OpenValues& attribute, const NewValues& given) {
    return checked(H5Tequal(attribute.type, given.type), "compare", "types") > 0 &&
           checked(H5Sextent_equal(attribute.space, given.space), "compare", "extents") > 0;
}

// The old value stays where the new one cannot be stored. The trial is not renamed: where an object
// has many attributes and keeps their order, HDF5 1.10 leaves the old name's entry in the index of
// that order, and what bears the new name can never be deleted again.
void replace(hid_t object, const std::string& name, hid_t naming, const NewValues& given) {
    const std::string trial = TRIAL_NAME;
    if (exists(object, trial)) {
        delete_attribute(object, trial);
    }
    create_with_values(object, trial, naming, given);
    delete_attribute(object, trial);
    delete_attribute(object, name);
    create_with_values(object, name, naming, given);
}

// One that is stored as it was keeps its place among the attributes of the object.
void create_or_set(hid_t object, const std::string& name, const NewValues& given) {
    if (!exists(object, name)) {
        return create_with_values(object, name, attribute_naming(), given);
    }
    OpenValues old = open_attribute(object, name);
    if (is_stored_like(old, given)) {
        return old.write(given.memory_type, given.values);
    }
    const Id naming = naming_of(old.id);
    old.id = Id{}; // it is deleted
    replace(object, name, naming, given);
}

Id text_type() {
    Id type = owned(H5Tcopy(H5T_C_S1), "make", "a type of texts");
    checked(H5Tset_size(type, H5T_VARIABLE), "make", "a type of texts");
    checked(H5Tset_cset(type, H5T_CSET_UTF8), "make", "a type of texts");
    return type;
}

// How many bytes of a text of fixed length a text may take.
std::size_t text_room(hid_t type) {
    const bool ends_in_zero =
        checked(H5Tget_strpad(type), "read", "a type of texts") == H5T_STR_NULLTERM;
    return type_size(type) - (ends_in_zero ? 1 : 0);
}

// Texts as the library takes them for values of a type of texts.
class TextValues {
  public:
    TextValues(const std::vector<std::string>& texts, hid_t type) {
        if (is_variable_text(type)) {
            point_to(texts);
        } else {
            lay_out(texts, type);
        }
    }
    ~TextValues() = default;
    TextValues(const TextValues&) = delete;
    TextValues& operator=(const TextValues&) = delete;

    const void* data() const {
        return block_.empty() ? static_cast<const void*>(pointers_.data()) : block_.data();
    }

  private:
    void point_to(const std::vector<std::string>& texts) {
        pointers_.reserve(texts.size() + 1); // the library asks for a place even without values
        for (const std::string& text : texts) {
            pointers_.push_back(text.c_str());
        }
    }

    void lay_out(const std::vector<std::string>& texts, hid_t type) {
        const bool is_padded_by_blanks =
            checked(H5Tget_strpad(type), "read", "a type of texts") == H5T_STR_SPACEPAD;
        const std::size_t size = type_size(type);
        block_.assign(std::max<std::size_t>(texts.size(), 1) * size,
                      is_padded_by_blanks ? ' ' : '\0');
        for (std::size_t i = 0; i < texts.size(); ++i) {
            texts[i].copy(block_.data() + i * size, text_room(type));
        }
    }

    std::vector<const char*> pointers_;
    std::string block_;
};

// Writes an attribute of each type of value.
struct Writer {
    hid_t object;
    const std::string& name;
    hid_t stored_type = H5I_INVALID_HID; // else the usual one for the value

    void operator()(std::int64_t value) const {
        write(H5T_STD_I64LE, H5T_NATIVE_INT64, make_scalar_space(), &value);
    }
    void operator()(float value) const {
        write(H5T_IEEE_F32LE, H5T_NATIVE_FLOAT, make_scalar_space(), &value);
    }
    void operator()(double value) const {
        write(H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, make_scalar_space(), &value);
    }
    void operator()(const std::string& value) const { write_texts({value}, make_scalar_space()); }
    void operator()(const IntegerArray& array) const {
        write_array(H5T_STD_I64LE, H5T_NATIVE_INT64, array.values, array.extents);
    }
    void operator()(const NumberArray& array) const {
        write_array(H5T_IEEE_F64LE, H5T_NATIVE_DOUBLE, array.values, array.extents);
    }
    void operator()(const TextArray& array) const {
        write_texts(array.values, make_space(array.extents, false));
    }

  private:
    bool has_stored_type() const { return stored_type != H5I_INVALID_HID; }

    void write(hid_t usual_type, hid_t memory_type, hid_t space, const void* values) const {
        create_or_set(object, name,
                      {has_stored_type() ? stored_type : usual_type, memory_type, space, values});
    }
    template <typename Value>
    void write_array(hid_t usual_type, hid_t memory_type, std::vector<Value> values,
                     const Extents& extents) const {
        values.reserve(1); // the library asks for a place even without values
        write(usual_type, memory_type, make_space(extents, false), values.data());
    }
    void write_texts(const std::vector<std::string>& texts, hid_t space) const {
        const Id usual_type = text_type();
        const hid_t type = has_stored_type() ? stored_type : hid_t{usual_type};
        write(type, type, space, TextValues(texts, type).data());
    }
};

std::string name_text_type(hid_t type, bool is_ascii) {
    const std::string_view kind = is_ascii ? "ASCII text" : "text";
    return is_variable_text(type)
               ? std::string(kind)
               : fmt::format("{} of at most {}", kind, count_things(text_room(type), "byte"));
}

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
    std::visit(Writer{object, name}, value);
}

void write_attribute(hid_t object, const std::string& name, const AttributeValue& value,
                     SampleType type) {
    std::visit(Writer{object, name, stored_type(type)}, value);
}

std::optional<AttributeType> find_attribute_type(hid_t object, const std::string& name) {
    if (name.empty() || !exists(object, name)) {
        return std::nullopt;
    }
    const OpenValues attribute = open_attribute(object, name);
    AttributeType type;
    type.name = describe_type(attribute.type);
    if (!has_no_elements(attribute.space)) {
        type.extents = space_extents(attribute.space);
    }
    if (const auto number = find_sample_type(attribute.type)) {
        type.kind = AttributeType::Kind::Number;
        type.number = *number;
        type.name = name_sample_type(*number);
    } else if (type_class(attribute.type) == H5T_STRING) {
        type.kind = AttributeType::Kind::Text;
        type.is_ascii =
            checked(H5Tget_cset(attribute.type), "read the type of", name) == H5T_CSET_ASCII;
        type.name = name_text_type(attribute.type, type.is_ascii);
    }
    return type;
}

void rewrite_attribute(hid_t object, const std::string& name, const AttributeValue& value) {
    const Id type = std::move(open_attribute(object, name).type);
    std::visit(Writer{object, name, type}, value);
}

void delete_attribute(hid_t object, const std::string& name) {
    try {
        checked(H5Adelete(object, name.c_str()), "delete the attribute", name);
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError& error) {
        throw StorageError(StorageError::Access::Reading,
                           fmt::format("{}: the index of the object's attributes is damaged, as "
                                       "setting one of many in h5py leaves it (h5repack makes a "
                                       "file anew)",
                                       error.what()));
    }
}

void copy_attributes(hid_t from, hid_t properties, hid_t to, std::string_view path) {
    for (const std::string& name : list_as_made(from, properties)) {
        const OpenValues source = open_attribute(from, name);
        RawValues values(source);
        create_with_values(to, name, naming_of(source.id),
                           {source.type, source.type, source.space, values.all().data()});
        if (!values.are_those_of(open_attribute(to, name))) {
            throw TreeError(fmt::format("'{}' cannot be made anew: the HDF5 library does not keep "
                                        "the values of its attribute '{}'",
                                        path, name));
        }
    }
}

} // namespace talvora::host::hdf5

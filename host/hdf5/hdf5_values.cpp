#include "host/hdf5/hdf5_values.h"

#include "host/hdf5/hdf5_sets.h"
#include "host/hdf5/hdf5_types.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace talvora::host::hdf5 {

namespace {

// Never without room, so that there is always a place to read to.
template <typename Value>
std::vector<Value> read_all(const OpenValues& source, hid_t memory_type) {
    std::vector<Value> values(std::max<std::size_t>(source.count(), 1));
    source.read(memory_type, values.data());
    values.resize(source.count());
    return values;
}

bool is_wide_unsigned(hid_t type) {
    return type_class(type) == H5T_INTEGER && is_unsigned(type) &&
           type_size(type) >= sizeof(std::uint64_t);
}

std::vector<std::int64_t> read_integers(const OpenValues& source) {
    if (is_wide_unsigned(source.type)) {
        for (const auto value : read_all<std::uint64_t>(source, H5T_NATIVE_UINT64)) {
            if (value > std::numeric_limits<std::int64_t>::max()) {
                throw TreeError(fmt::format("{}'{}' holds {}, which is too large for a signed "
                                            "integer of 64 bits",
                                            source.is_set ? "" : "the attribute ", source.name,
                                            value));
            }
        }
    }
    return read_all<std::int64_t>(source, H5T_NATIVE_INT64);
}

std::vector<std::string> read_variable_texts(const OpenValues& source) {
    std::vector<char*> pointers = read_all<char*>(source, source.type);
    const Reclaim reclaim(source, pointers.data());
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

std::vector<std::string> read_fixed_texts(const OpenValues& source) {
    const std::size_t size = type_size(source.type);
    std::string block(std::max<std::size_t>(source.count(), 1) * size, '\0');
    source.read(source.type, block.data());
    const H5T_str_t padding =
        checked(H5Tget_strpad(source.type), "read the padding of", source.name);
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < source.count(); ++i) {
        texts.push_back(trim_fixed(std::string_view(block).substr(i * size, size), padding));
    }
    return texts;
}

std::vector<std::string> read_texts(const OpenValues& source) {
    return checked(H5Tis_variable_str(source.type), "read the type of", source.name) > 0
               ? read_variable_texts(source)
               : read_fixed_texts(source);
}

// A value of its own when the attribute is a scalar, else an array with its extents.
template <typename Scalar, typename Array, typename Values>
AttributeValue scalar_or_array(const OpenValues& source, Values values) {
    Extents extents = space_extents(source.space);
    if (extents.empty()) {
        return static_cast<Scalar>(std::move(values.at(0)));
    }
    return Array{std::move(values), std::move(extents)};
}

AttributeValue read_floats(const OpenValues& source) {
    std::vector<double> values = read_all<double>(source, H5T_NATIVE_DOUBLE);
    if (type_size(source.type) <= sizeof(float)) {
        return scalar_or_array<float, NumberArray>(source, std::move(values));
    }
    return scalar_or_array<double, NumberArray>(source, std::move(values));
}

// ---------------------------------------------------------------------------
// Values of any type, compared

bool is_same_type(hid_t type, hid_t other) {
    const auto is_committed = [](hid_t id) {
        return checked(H5Tcommitted(id), "compare", "types");
    };
    return checked(H5Tequal(type, other), "compare", "types") > 0 &&
           is_committed(type) == is_committed(other);
}

// By all of its bytes.
bool is_plain(hid_t type) {
    switch (type_class(type)) {
    case H5T_COMPOUND: // with room between its members
    case H5T_ARRAY:
    case H5T_VLEN:
        return false;
    case H5T_STRING:
        return checked(H5Tis_variable_str(type), "read", "a type of texts") == 0;
    default:
        return true;
    }
}

template <typename Value>
Value value_at(const std::byte* bytes) {
    Value value{};
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

bool are_same(hid_t type, const std::byte* values, const std::byte* others, std::size_t count);

bool are_same_members(hid_t type, const std::byte* value, const std::byte* other) {
    const auto count =
        static_cast<unsigned>(checked(H5Tget_nmembers(type), "read", "the type of a table"));
    for (unsigned member = 0; member < count; ++member) {
        const Id member_type =
            owned(H5Tget_member_type(type, member), "read", "the type of a table");
        const std::size_t offset = H5Tget_member_offset(type, member);
        if (!are_same(member_type, value + offset, other + offset, 1)) {
            return false;
        }
    }
    return true;
}

bool is_same_list(hid_t type, const std::byte* value, const std::byte* other) {
    const auto list = value_at<hvl_t>(value);
    const auto other_list = value_at<hvl_t>(other);
    return list.len == other_list.len &&
           are_same(element_type(type), static_cast<const std::byte*>(list.p),
                    static_cast<const std::byte*>(other_list.p), list.len);
}

bool is_same_text(const std::byte* value, const std::byte* other) {
    const auto* text = value_at<const char*>(value);
    const auto* other_text = value_at<const char*>(other);
    return text == nullptr || other_text == nullptr ? text == other_text
                                                    : std::strcmp(text, other_text) == 0;
}

// Of a type that is not plain.
bool is_same(hid_t type, const std::byte* value, const std::byte* other) {
    switch (type_class(type)) {
    case H5T_COMPOUND:
        return are_same_members(type, value, other);
    case H5T_ARRAY: {
        const Id element = element_type(type);
        return are_same(element, value, other, type_size(type) / type_size(element));
    }
    case H5T_VLEN:
        return is_same_list(type, value, other);
    default:
        return is_same_text(value, other);
    }
}

bool are_same(hid_t type, const std::byte* values, const std::byte* others, std::size_t count) {
    const std::size_t size = type_size(type);
    if (is_plain(type)) {
        return count == 0 || std::memcmp(values, others, count * size) == 0;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!is_same(type, values + i * size, others + i * size)) {
            return false;
        }
    }
    return true;
}

} // namespace

std::size_t OpenValues::count() const {
    return has_no_elements(space) ? 0 : count_samples(space_extents(space));
}

void OpenValues::read(hid_t memory_type, void* values) const {
    if (is_set) {
        checked(H5Dread(id, memory_type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values), "read", name);
    } else {
        checked(H5Aread(id, memory_type, values), "read the attribute", name);
    }
}

void OpenValues::write(hid_t memory_type, const void* values) const {
    if (is_set) {
        checked(H5Dwrite(id, memory_type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values), "write", name);
    } else {
        checked(H5Awrite(id, memory_type, values), "write the attribute", name);
    }
}

OpenValues open_attribute(hid_t object, const std::string& name) {
    Id id = owned(H5Aopen(object, name.c_str(), H5P_DEFAULT), "open the attribute", name);
    Id type = owned(H5Aget_type(id), "read the type of the attribute", name);
    Id space = owned(H5Aget_space(id), "read the extents of the attribute", name);
    return {name, std::move(id), std::move(type), std::move(space), false};
}

OpenValues open_set_values(hid_t set, const std::string& path) {
    return {path, share(set), set_type(set), set_space(set), true};
}

RawValues::RawValues(const OpenValues& source)
    : source_(source), bytes_(std::max<std::size_t>(source.count(), 1) * type_size(source.type)),
      reclaim_(source, bytes_.data()) {
    if (source.count() > 0) {
        source.read(source.type, bytes_.data());
    }
}

std::span<std::byte> RawValues::value(std::size_t index) {
    const std::size_t size = type_size(source_.type);
    return std::span(bytes_).subspan(index * size, size);
}

void RawValues::write_to(const OpenValues& target) const {
    target.write(source_.type, bytes_.data());
}

bool RawValues::are_those_of(const OpenValues& other) const {
    return is_same_type(source_.type, other.type) &&
           checked(H5Sextent_equal(source_.space, other.space), "compare", "extents") > 0 &&
           are_same(source_.type, bytes_.data(), RawValues(other).bytes_.data(), source_.count());
}

AttributeValue read_values(const OpenValues& values, std::string_view described) {
    if (has_no_elements(values.space)) {
        throw TreeError(fmt::format("{} has no value", described));
    }
    switch (type_class(values.type)) {
    case H5T_INTEGER:
    case H5T_ENUM:
        return scalar_or_array<std::int64_t, IntegerArray>(values, read_integers(values));
    case H5T_FLOAT:
        return read_floats(values);
    case H5T_STRING:
        return scalar_or_array<std::string, TextArray>(values, read_texts(values));
    default:
        throw TreeError(fmt::format("{} holds {} and cannot be read (allowed: integers, floats, "
                                    "texts)",
                                    described, describe_type(values.type)));
    }
}

} // namespace talvora::host::hdf5

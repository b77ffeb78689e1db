#include "host/hdf5/hdf5_types.h"

#include <fmt/format.h>

namespace talvora::host::hdf5 {

std::vector<hsize_t> to_hsize(std::span<const std::uint64_t> extents) {
    return {extents.begin(), extents.end()};
}

Id make_space(std::span<const std::uint64_t> extents, bool resizable) {
    const std::vector<hsize_t> now = to_hsize(extents);
    const std::vector<hsize_t> most(extents.size(), H5S_UNLIMITED);
    return owned(H5Screate_simple(static_cast<int>(extents.size()), now.data(),
                                  resizable ? most.data() : nullptr),
                 "make extents", describe_extents(extents));
}

Id make_scalar_space() {
    return owned(H5Screate(H5S_SCALAR), "make", "a scalar");
}

Extents space_extents(hid_t space) {
    Words extents{};
    const int rank =
        checked(H5Sget_simple_extent_dims(space, extents.data(), nullptr), "read", "extents");
    return {extents.begin(), extents.begin() + rank};
}

bool has_no_elements(hid_t space) {
    return checked(H5Sget_simple_extent_type(space), "read", "extents") == H5S_NULL;
}

H5T_class_t type_class(hid_t type) {
    return checked(H5Tget_class(type), "read", "the class of a type");
}

// 0 is what a failure gives, and the size of a damaged type too: the stack of errors tells.
std::size_t type_size(hid_t type) {
    const std::size_t size = H5Tget_size(type);
    if (size == 0 && H5Eget_num(H5E_DEFAULT) > 0) {
        fail("read", "the size of a type");
    }
    return size;
}

bool is_unsigned(hid_t type) {
    return checked(H5Tget_sign(type), "read", "the sign of a type") == H5T_SGN_NONE;
}

bool is_single_float(hid_t type) {
    const auto is_same = [&](hid_t other) {
        return checked(H5Tequal(type, other), "compare", "two types") > 0;
    };
    return type_class(type) == H5T_FLOAT && (is_same(H5T_IEEE_F32LE) || is_same(H5T_IEEE_F32BE));
}

std::string describe_type(hid_t type) {
    const std::size_t bits = 8 * type_size(type);
    switch (type_class(type)) {
    case H5T_INTEGER:
        return fmt::format("{}{}-bit integers", is_unsigned(type) ? "unsigned " : "", bits);
    case H5T_FLOAT:
        return fmt::format("{}-bit floats", bits);
    case H5T_STRING:
        return "texts";
    case H5T_ENUM:
        return "enumerated values";
    case H5T_COMPOUND:
        return "compound values";
    case H5T_REFERENCE:
        return "references";
    case H5T_ARRAY:
        return "arrays";
    case H5T_VLEN:
        return "lists of varying length";
    case H5T_BITFIELD:
        return fmt::format("{}-bit fields", bits);
    default:
        return "values of an unknown type";
    }
}

} // namespace talvora::host::hdf5

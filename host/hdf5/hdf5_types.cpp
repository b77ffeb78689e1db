#include "host/hdf5/hdf5_types.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvora::host::hdf5 {

namespace {

// A sample type as it stands in files.
struct RealType {
    SampleType type;
    H5T_class_t kind;
    std::size_t size;
    hid_t little; // the byte orders
    hid_t big;
};

// The binary16 of IEEE 754, which the library itself does not name.
Id make_half(H5T_order_t order) {
    constexpr std::size_t SIGN = 15;
    constexpr std::size_t EXPONENT_BITS = 5;
    constexpr std::size_t FRACTION_BITS = 10;
    constexpr std::size_t BIAS = 15;
    Id type = owned(H5Tcopy(H5T_IEEE_F32LE), "make", "a type of floats");
    checked(H5Tset_fields(type, SIGN, FRACTION_BITS, EXPONENT_BITS, 0, FRACTION_BITS), "make",
            "a type of floats");
    checked(H5Tset_size(type, 2), "make", "a type of floats");
    checked(H5Tset_ebias(type, BIAS), "make", "a type of floats");
    checked(H5Tset_order(type, order), "make", "a type of floats");
    return type;
}

// The most usual ones first.
std::span<const RealType> real_types() {
    static const RealType types[] = {
        {SampleType::Float32, H5T_FLOAT, 4, H5T_IEEE_F32LE, H5T_IEEE_F32BE},
        {SampleType::Float64, H5T_FLOAT, 8, H5T_IEEE_F64LE, H5T_IEEE_F64BE},
        {SampleType::Float16, H5T_FLOAT, 2, make_half(H5T_ORDER_LE).release(),
         make_half(H5T_ORDER_BE).release()},
        {SampleType::Int8, H5T_INTEGER, 1, H5T_STD_I8LE, H5T_STD_I8BE},
        {SampleType::Int16, H5T_INTEGER, 2, H5T_STD_I16LE, H5T_STD_I16BE},
        {SampleType::Int32, H5T_INTEGER, 4, H5T_STD_I32LE, H5T_STD_I32BE},
        {SampleType::Int64, H5T_INTEGER, 8, H5T_STD_I64LE, H5T_STD_I64BE},
        {SampleType::UInt8, H5T_INTEGER, 1, H5T_STD_U8LE, H5T_STD_U8BE},
        {SampleType::UInt16, H5T_INTEGER, 2, H5T_STD_U16LE, H5T_STD_U16BE},
        {SampleType::UInt32, H5T_INTEGER, 4, H5T_STD_U32LE, H5T_STD_U32BE},
        {SampleType::UInt64, H5T_INTEGER, 8, H5T_STD_U64LE, H5T_STD_U64BE},
    };
    return types;
}

bool is_same(hid_t type, hid_t other) {
    return checked(H5Tequal(type, other), "compare", "two types") > 0;
}

// As programs write them that have no type of their own for it: a real and an imaginary part, by
// these names. Nothing for another type, that of a part for one of complex numbers.
std::optional<Id> find_complex_part(hid_t type) {
    constexpr std::pair<const char*, const char*> NAMES[] = {{"r", "i"}, {"real", "imag"}};
    const bool has_names = std::ranges::any_of(NAMES, [&](const auto& names) {
        return H5Tget_member_index(type, names.first) == 0 &&
               H5Tget_member_index(type, names.second) == 1;
    });
    if (!has_names || H5Tget_nmembers(type) != 2) {
        return std::nullopt;
    }
    Id real = owned(H5Tget_member_type(type, 0), "read", "the type of a number");
    const Id imaginary = owned(H5Tget_member_type(type, 1), "read", "the type of a number");
    const bool are_floats = type_class(real) == H5T_FLOAT && is_same(real, imaginary);
    return are_floats ? std::optional(std::move(real)) : std::nullopt;
}

std::string describe_compound(hid_t type) {
    const auto part = find_complex_part(type);
    return part ? "complex values of " + describe_type(*part) : "compound values";
}

} // namespace

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

Id element_type(hid_t type) {
    return owned(H5Tget_super(type), "read", "the type of a sequence");
}

std::optional<SampleType> find_sample_type(hid_t type) {
    const H5T_class_t kind = type_class(type);
    if (kind != H5T_FLOAT && kind != H5T_INTEGER) {
        return std::nullopt;
    }
    const std::size_t size = type_size(type);
    for (const RealType& real : real_types()) {
        if (real.kind == kind && real.size == size &&
            (is_same(type, real.little) || is_same(type, real.big))) {
            return real.type;
        }
    }
    return std::nullopt;
}

hid_t stored_type(SampleType type) {
    return std::ranges::find(real_types(), type, &RealType::type)->little;
}

OtherKind classify_set(hid_t type) {
    switch (type_class(type)) {
    case H5T_INTEGER:
    case H5T_FLOAT:
    case H5T_BITFIELD:
        return OtherKind::NumberSet;
    case H5T_STRING:
        return OtherKind::TextSet;
    case H5T_ENUM:
        return OtherKind::EnumerationSet;
    case H5T_REFERENCE:
        return OtherKind::ReferenceSet;
    case H5T_COMPOUND:
        return find_complex_part(type) ? OtherKind::NumberSet : OtherKind::OtherSet;
    default:
        return OtherKind::OtherSet;
    }
}

namespace {

// Of a number that has the size of samples, what else makes it none.
std::string describe_layout(hid_t type) {
    const std::size_t size = type_size(type);
    const bool has_usual_size = std::ranges::any_of(real_types(), [&](const RealType& real) {
        return real.kind == type_class(type) && real.size == size;
    });
    if (!has_usual_size || find_sample_type(type)) {
        return "";
    }
    const std::size_t used = H5Tget_precision(type);
    return used < 8 * size ? fmt::format(" of which {} bits are used", used) : " of another layout";
}

} // namespace

std::string describe_type(hid_t type) {
    const std::size_t bits = 8 * type_size(type);
    switch (type_class(type)) {
    case H5T_INTEGER:
        return fmt::format("{}{}-bit integers{}", is_unsigned(type) ? "unsigned " : "", bits,
                           describe_layout(type));
    case H5T_FLOAT:
        return fmt::format("{}-bit floats{}", bits, describe_layout(type));
    case H5T_STRING:
        return "texts";
    case H5T_ENUM:
        return "enumerated values";
    case H5T_COMPOUND:
        return describe_compound(type);
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

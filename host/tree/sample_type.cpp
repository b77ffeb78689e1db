#include "host/tree/sample_type.h"

#include <algorithm>
#include <iterator>

namespace talvora::host {
namespace {

struct TypeNames {
    SampleType type;
    std::string_view name;
    std::string_view description;
};

constexpr TypeNames TYPE_NAMES[] = {
    {SampleType::Float16, "float16", "16-bit floats"},
    {SampleType::Float32, "float32", "32-bit floats"},
    {SampleType::Float64, "float64", "64-bit floats"},
    {SampleType::Int8, "int8", "8-bit integers"},
    {SampleType::Int16, "int16", "16-bit integers"},
    {SampleType::Int32, "int32", "32-bit integers"},
    {SampleType::Int64, "int64", "64-bit integers"},
    {SampleType::UInt8, "uint8", "unsigned 8-bit integers"},
    {SampleType::UInt16, "uint16", "unsigned 16-bit integers"},
    {SampleType::UInt32, "uint32", "unsigned 32-bit integers"},
    {SampleType::UInt64, "uint64", "unsigned 64-bit integers"},
};

const TypeNames& names_of(SampleType type) {
    return *std::ranges::find(TYPE_NAMES, type, &TypeNames::type);
}

} // namespace

std::string_view name_sample_type(SampleType type) {
    return names_of(type).name;
}

std::string_view describe_sample_type(SampleType type) {
    return names_of(type).description;
}

std::optional<SampleType> find_sample_type(std::string_view name) {
    const auto* const found = std::ranges::find(TYPE_NAMES, name, &TypeNames::name);
    return found != std::end(TYPE_NAMES) ? std::optional(found->type) : std::nullopt;
}

std::vector<std::string> list_sample_types() {
    std::vector<std::string> names;
    std::ranges::transform(TYPE_NAMES, std::back_inserter(names),
                           [](const TypeNames& row) { return std::string(row.name); });
    return names;
}

bool is_integer(SampleType type) {
    return type != SampleType::Float16 && type != SampleType::Float32 &&
           type != SampleType::Float64;
}

} // namespace talvora::host

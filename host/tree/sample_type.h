// The types that samples are stored as: every real number that files commonly hold.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvora::host {

enum class SampleType {
    Float16,
    Float32,
    Float64,
    Int8,
    Int16,
    Int32,
    Int64,
    UInt8,
    UInt16,
    UInt32,
    UInt64
};

// As NumPy names it, in either byte order: "float64", "uint16".
std::string_view name_sample_type(SampleType type);
// For people: "64-bit floats", "unsigned 16-bit integers".
std::string_view describe_sample_type(SampleType type);

// Nothing for any other name.
std::optional<SampleType> find_sample_type(std::string_view name);
std::vector<std::string> list_sample_types();
bool is_integer(SampleType type);

// Samples in the narrowest of these types that holds each of them as it is.
using StoredSamples =
    std::variant<std::vector<float>, std::vector<double>, std::vector<std::int32_t>,
                 std::vector<std::int64_t>, std::vector<std::uint64_t>>;

// Calls with a value, of no meaning, of the type that StoredSamples hold samples of a type in.
template <typename Call>
auto with_stored_type(SampleType type, const Call& call) {
    switch (type) {
    case SampleType::Float16:
    case SampleType::Float32:
        break;
    case SampleType::Float64:
        return call(double{});
    case SampleType::Int8:
    case SampleType::Int16:
    case SampleType::Int32:
    case SampleType::UInt8:
    case SampleType::UInt16:
        return call(std::int32_t{});
    case SampleType::Int64:
    case SampleType::UInt32:
        return call(std::int64_t{});
    case SampleType::UInt64:
        return call(std::uint64_t{});
    }
    return call(float{});
}

} // namespace talvora::host

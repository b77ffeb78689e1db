// The built library as a host finds it: loaded at run time, its descriptors read by
// byte offset. Nothing of the plug-in's headers is used, so that a field or a slot
// in the wrong place there shows up in the tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::test_support {

using TextGetter = const char* (*)();
using Operation = void (*)(); // declare or run, cast where it is called

// A unit descriptor: 296 bytes, eight pointer-sized fields, then zeros.
struct UnitRow {
    const unsigned char* bytes;

    TextGetter getter_at(std::size_t offset) const;
    Operation operation_at(std::size_t offset) const;
    std::string text_at(std::size_t offset) const; // "" behind a null getter
};

constexpr std::size_t UNIT_STRIDE = 296;
constexpr std::size_t NAME_OFFSET = 0;
constexpr std::size_t VENDOR_OFFSET = 8;
constexpr std::size_t CATEGORY_OFFSET = 16;
constexpr std::size_t DECLARE_OFFSET = 24;
constexpr std::size_t RUN_OFFSET = 32;
constexpr std::size_t VERSION_OFFSET = 40;
constexpr std::size_t DESCRIPTION_OFFSET = 48;
constexpr std::size_t DATE_OFFSET = 56;

// Calls the library's one exported function.
const void* call_plugin_entry(std::uint32_t* count_out, std::int32_t kind);

// The rows of the unit table, in its order.
std::vector<UnitRow> unit_rows();

// Throws std::runtime_error when no row carries the identifier.
UnitRow find_unit(const std::string& identifier);

} // namespace talvora::test_support

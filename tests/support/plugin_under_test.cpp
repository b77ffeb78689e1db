#include "tests/support/plugin_under_test.h"

#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

namespace talvora::test_support {

namespace {

using EntryFunction = const void* (*)(std::uint32_t*, std::int32_t);

constexpr std::int32_t UNIT_TABLE = 3;

// The library stays loaded to the end: its texts are kept in test names.
EntryFunction load_entry() {
    void* library = ::dlopen(TALVORA_PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
    void* entry = library == nullptr ? nullptr : ::dlsym(library, "talvora_plugin_api");
    if (entry == nullptr) {
        throw std::runtime_error(::dlerror());
    }
    return reinterpret_cast<EntryFunction>(entry);
}

template <typename Function>
Function function_at(const unsigned char* address) {
    Function function;
    std::memcpy(&function, address, sizeof function);
    return function;
}

} // namespace

TextGetter UnitRow::getter_at(std::size_t offset) const {
    return function_at<TextGetter>(bytes + offset);
}

Operation UnitRow::operation_at(std::size_t offset) const {
    return function_at<Operation>(bytes + offset);
}

std::string UnitRow::text_at(std::size_t offset) const {
    const TextGetter getter = getter_at(offset);
    return getter == nullptr ? "" : getter();
}

const void* call_plugin_entry(std::uint32_t* count_out, std::int32_t kind) {
    static const EntryFunction entry = load_entry();
    return entry(count_out, kind);
}

std::vector<UnitRow> unit_rows() {
    std::uint32_t count = 0;
    const auto* first = static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE));
    std::vector<UnitRow> rows;
    for (std::uint32_t i = 0; first != nullptr && i < count; ++i) {
        rows.push_back({first + i * UNIT_STRIDE});
    }
    return rows;
}

UnitRow find_unit(const std::string& identifier) {
    for (const UnitRow& row : unit_rows()) {
        if (row.text_at(NAME_OFFSET) == identifier) {
            return row;
        }
    }
    throw std::runtime_error("the library has no unit '" + identifier + "'");
}

} // namespace talvora::test_support

#include "tests/support/plugin_under_test.h"

#include "tests/support/heap_watch.h"
#include "tests/support/shared_library.h"

#include <cstring>
#include <stdexcept>

namespace talvora::test_support {

namespace {

using EntryFunction = const void* (*)(std::uint32_t*, std::int32_t);

constexpr std::int32_t UNIT_TABLE_KIND = 3;

// The library stays loaded to the end: its texts are kept in test names.
EntryFunction load_entry() {
    void* library = load_library(TALVORA_PLUGIN_FILE);
    watch_heap_of(library);
    void* entry = find_symbol(library, "talvora_plugin_api");
    if (entry == nullptr) {
        throw std::runtime_error("the library lacks talvora_plugin_api");
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
    const auto* first =
        static_cast<const unsigned char*>(call_plugin_entry(&count, UNIT_TABLE_KIND));
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

// JSON as a text. JSON is UTF-8, and names of files, groups and sets may be any bytes.
#pragma once

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace talvora::host {

// `indent` as that of the library: -1 for one line. Each byte that is no UTF-8 stands as \xHH in
// its text: seen, and never another letter.
std::string format_json(const nlohmann::ordered_json& json, int indent = -1);

template <typename Value>
nlohmann::ordered_json value_or_null(const std::optional<Value>& value) {
    return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

// Throws a Failure of usage for a text that is no UTF-8: for what a record must give back as it is.
void refuse_invalid_utf8(std::string_view text);

} // namespace talvora::host

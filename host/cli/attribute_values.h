// Values of attributes as commands print them.
#pragma once

#include "host/tree/data_tree.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>

namespace talvora::host {

// More values than a line holds are cut short; --json gives all of them.
constexpr std::size_t MAX_SHOWN_VALUES = 8;

// "100", "\"N\"", "[1, 2, 3]"
std::string describe_values(const AttributeValue& value);

nlohmann::ordered_json make_json(const AttributeValue& value);

} // namespace talvora::host

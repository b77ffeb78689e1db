// What a filter does, for the commands to print.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/filters/filter_response.h"

#include <nlohmann/json.hpp>

#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// On one line: "at 1000 Hz 3 dB down at 77.1836 Hz after both passes, each of order 2
// with its edge at 62.3252 Hz".
std::string summarise(const FilterFacts& facts);

// The sample rate, the order and edges of one pass, the edges that the parameters suggest, the
// 3 dB points, `usable` (whether it is of any use), and `summary`: frequencies in Hz.
nlohmann::ordered_json make_json(const FilterFacts& facts);

nlohmann::ordered_json make_json(std::span<const FilterFacts> filters);

// The response as lines of a table under its heads; loss beyond 200 dB is told as such, for
// it is the rounding of the coefficients.
std::vector<std::string> describe_response(std::span<const ResponseRow> response);

nlohmann::ordered_json make_json(std::span<const ResponseRow> response);

} // namespace talvora::host

#include "host/cli/attribute_values.h"

#include "host/text/shortest_double.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <cstdint>
#include <variant>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

// The sign of a NaN means nothing to a reader.
template <typename Number>
std::string describe_number(Number value) {
    return std::isnan(value) ? "NaN" : fmt::format("{}", value);
}

struct ValueText {
    std::string operator()(std::int64_t value) const { return fmt::format("{}", value); }
    std::string operator()(float value) const { return describe_number(value); }
    std::string operator()(double value) const { return describe_number(value); }
    std::string operator()(const std::string& value) const { return fmt::format("{:?}", value); }
    template <typename Array>
    std::string operator()(const Array& array) const {
        std::vector<std::string> texts;
        for (const auto& value : array.values) {
            if (texts.size() == MAX_SHOWN_VALUES) {
                texts.push_back(fmt::format("... {} values", array.values.size()));
                break;
            }
            texts.push_back((*this)(value));
        }
        return fmt::format("[{}]", fmt::join(texts, ", "));
    }
};

struct ValueJson {
    Json operator()(float value) const { return shortest_double(value); }
    Json operator()(const IntegerArray& array) const { return array.values; }
    Json operator()(const NumberArray& array) const { return array.values; }
    Json operator()(const TextArray& array) const { return array.values; }
    template <typename Value>
    Json operator()(const Value& value) const {
        return value;
    }
};

} // namespace

std::string describe_values(const AttributeValue& value) {
    return std::visit(ValueText{}, value);
}

Json make_json(const AttributeValue& value) {
    return std::visit(ValueJson{}, value);
}

} // namespace talvora::host

#include "host/tree/number_attribute.h"

#include "host/text/shortest_double.h"

#include <variant>

namespace talvora::host {
namespace {

template <typename Array>
AttributeValue first_of_one(const Array& array) {
    return array.values.size() == 1 ? AttributeValue(array.values[0]) : AttributeValue(array);
}

struct AsNumber {
    std::optional<double> operator()(std::int64_t value) const {
        return static_cast<double>(value);
    }
    std::optional<double> operator()(float value) const { return shortest_double(value); }
    std::optional<double> operator()(double value) const { return value; }
    template <typename Other>
    std::optional<double> operator()(const Other&) const {
        return std::nullopt;
    }
};

// Arrays of floats are read as doubles: one that a float holds was one.
double as_written(double value) {
    const auto single = static_cast<float>(value);
    return static_cast<double>(single) == value ? shortest_double(single) : value;
}

} // namespace

AttributeValue unwrap(const AttributeValue& value) {
    if (const auto* integers = std::get_if<IntegerArray>(&value)) {
        return first_of_one(*integers);
    }
    if (const auto* numbers = std::get_if<NumberArray>(&value)) {
        return first_of_one(*numbers);
    }
    if (const auto* texts = std::get_if<TextArray>(&value)) {
        return first_of_one(*texts);
    }
    return value;
}

std::optional<double> as_number(const std::optional<AttributeValue>& value) {
    const auto number = value ? std::visit(AsNumber{}, unwrap(*value)) : std::nullopt;
    return number && std::holds_alternative<NumberArray>(*value) ? as_written(*number) : number;
}

std::optional<double> read_number_attribute(DataTree& tree, ObjectId object,
                                            const std::string& name) {
    try {
        return as_number(tree.read_attribute(object, name));
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return std::nullopt; // of a type that cannot be read
    }
}

} // namespace talvora::host

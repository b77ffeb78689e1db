#include "host/tree/number_attribute.h"

#include "host/text/shortest_double.h"

#include <variant>

namespace talvora::host {
namespace {

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

} // namespace

std::optional<double> as_number(const std::optional<AttributeValue>& value) {
    return value ? std::visit(AsNumber{}, *value) : std::nullopt;
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

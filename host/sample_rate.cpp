#include "host/sample_rate.h"

#include "host/shortest_double.h"

namespace talvora::host {

std::optional<double> as_sample_rate(const std::optional<AttributeValue>& value) {
    if (!value) {
        return std::nullopt;
    }
    if (const auto* rate = std::get_if<float>(&*value)) {
        return shortest_double(*rate);
    }
    if (const auto* whole = std::get_if<std::int64_t>(&*value)) {
        return static_cast<double>(*whole);
    }
    const auto* wide = std::get_if<double>(&*value);
    return wide != nullptr ? std::optional(*wide) : std::nullopt;
}

std::optional<double> read_sample_rate(DataTree& tree, ObjectId object) {
    try {
        return as_sample_rate(tree.read_attribute(object, SAMPLE_RATE_ATTRIBUTE));
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) {
        return std::nullopt; // of a type that is no number
    }
}

} // namespace talvora::host

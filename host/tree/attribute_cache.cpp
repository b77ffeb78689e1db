#include "host/tree/attribute_cache.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <type_traits>

namespace talvora::host {

namespace {

// A unit works on a source and a few results at a time.
constexpr std::size_t MAX_OBJECTS = 64;
// Long lists, as of the samples that were filled, are written once and not asked for.
constexpr std::size_t MAX_VALUE_BYTES = 4096;

template <typename Value>
constexpr bool IS_ARRAY = requires(const Value& value) { value.extents; };

std::size_t count_bytes(const std::string& text) {
    return text.size();
}

template <typename Number>
std::size_t count_bytes(const Number&) {
    return sizeof(Number);
}

bool is_short(const AttributeValue& value) {
    return std::visit(
        []<typename Value>(const Value& held) {
            if constexpr (IS_ARRAY<Value>) {
                std::size_t bytes = 0;
                for (const auto& item : held.values) {
                    bytes += count_bytes(item);
                }
                return bytes <= MAX_VALUE_BYTES;
            } else {
                return count_bytes(held) <= MAX_VALUE_BYTES;
            }
        },
        value);
}

bool same_bits(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

bool same_bits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

bool same_bits(const NumberArray& a, const NumberArray& b) {
    return a.extents == b.extents &&
           std::ranges::equal(a.values, b.values,
                              [](double left, double right) { return same_bits(left, right); });
}

template <typename Value>
bool same_bits(const Value& a, const Value& b) {
    return a == b;
}

// Zero and minus zero are two values here, and NaN is the same as itself.
bool is_same(const AttributeValue& a, const AttributeValue& b) {
    return a.index() == b.index() &&
           std::visit([&]<typename Value>(
                          const Value& held) { return same_bits(held, std::get<Value>(b)); },
                      a);
}

void insert_name(std::vector<std::string>& names, const std::string& name) {
    const auto place = std::ranges::lower_bound(names, name);
    if (place == names.end() || *place != name) {
        names.insert(place, name);
    }
}

} // namespace

std::vector<std::string> AttributeCache::list(ObjectId object) {
    auto& names = known(object).names;
    if (!names) {
        names = tree_.list_attributes(object);
    }
    return *names;
}

std::optional<AttributeValue> AttributeCache::read(ObjectId object, const std::string& name) {
    auto& values = known(object).values;
    const auto found = values.find(name);
    if (found != values.end()) {
        return found->second.value;
    }
    auto value = tree_.read_attribute(object, name);
    if (!value || is_short(*value)) {
        values.emplace(name, KnownValue{value, false});
    }
    return value;
}

void AttributeCache::write(ObjectId object, const std::string& name, const AttributeValue& value) {
    KnownObject& knowledge = known(object);
    const auto found = knowledge.values.find(name);
    if (found != knowledge.values.end() && found->second.written_here &&
        is_same(*found->second.value, value)) {
        return;
    }
    knowledge.values.erase(name); // a write that fails leaves it unknown
    tree_.write_attribute(object, name, value);
    if (knowledge.names) {
        insert_name(*knowledge.names, name);
    }
    if (is_short(value)) {
        knowledge.values.insert_or_assign(name, KnownValue{value, true});
    }
}

AttributeCache::KnownObject& AttributeCache::known(ObjectId object) {
    if (objects_.size() == MAX_OBJECTS && !objects_.contains(object)) {
        objects_.clear();
    }
    return objects_[object];
}

} // namespace talvora::host

#include "host/interface/table_objects.h"

#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace talvora::host {

namespace {

template <typename Handle>
ObjectId checked_object(HostCall& call, Handle handle, std::string_view kind) {
    if (!is_valid(call, handle)) {
        throw TreeError(
            fmt::format("the handle {} names no {}", static_cast<std::uint64_t>(handle), kind));
    }
    return ObjectId{static_cast<std::uint64_t>(handle)};
}

std::optional<AttributeValue> read_unwrapped(DataTree& tree, ObjectId object,
                                             const std::string& name) {
    const auto value = tree.read_attribute(object, name);
    return value ? std::optional(unwrap(*value)) : std::nullopt;
}

[[noreturn]] void refuse_type(const DataTree& tree, ObjectId object, const std::string& name,
                              const AttributeValue& value, std::string_view wanted) {
    throw TreeError(fmt::format("the attribute '{}' of '{}' is {}, not {}", name, tree.path(object),
                                describe_value(value), wanted));
}

// Truncates toward zero; nothing for NaN and for values that no 64-bit integer holds.
std::optional<std::int64_t> to_integer(double number) {
    constexpr double BOUND = 0x1p63;
    return number >= -BOUND && number < BOUND ? std::optional(static_cast<std::int64_t>(number))
                                              : std::nullopt;
}

// Beyond the range of float stands infinity, as the conversion of the machine has it.
float to_float(double number) {
    constexpr auto MAX = static_cast<double>(std::numeric_limits<float>::max());
    constexpr double INF = std::numeric_limits<double>::infinity();
    constexpr double ROUNDS_TO_INF = MAX * (1 + 0x1p-25);
    if (number >= ROUNDS_TO_INF && number < INF) {
        return std::numeric_limits<float>::infinity();
    }
    if (number <= -ROUNDS_TO_INF && number > -INF) {
        return -std::numeric_limits<float>::infinity();
    }
    return static_cast<float>(number);
}

} // namespace

bool is_valid(HostCall& call, ObjectId object, ObjectKind kind) {
    try {
        return call.tree().kind(object) == kind;
    } catch (const TreeError&) {
        return false;
    }
}

bool is_valid(HostCall& call, group_handle group) {
    return is_valid(call, ObjectId{static_cast<std::uint64_t>(group)}, ObjectKind::Group);
}

bool is_valid(HostCall& call, dataset_handle set) {
    return is_valid(call, ObjectId{static_cast<std::uint64_t>(set)}, ObjectKind::DataSet);
}

ObjectId object_of(HostCall& call, group_handle group) {
    return checked_object(call, group, "group");
}

ObjectId object_of(HostCall& call, dataset_handle set) {
    return checked_object(call, set, "data set");
}

std::optional<ObjectId> find_object(HostCall& call, group_handle group, const char* path,
                                    ObjectKind kind) {
    const auto found = call.tree().find(object_of(call, group), checked_text(path));
    return found && call.tree().kind(*found) == kind ? found : std::nullopt;
}

float read_float(DataTree& tree, ObjectId object, const std::string& name) {
    const auto value = read_unwrapped(tree, object, name);
    if (!value) {
        return 0.0F;
    }
    if (const auto* single = std::get_if<float>(&*value)) {
        return *single;
    }
    if (const auto* number = std::get_if<double>(&*value)) {
        return to_float(*number);
    }
    if (const auto* integer = std::get_if<std::int64_t>(&*value)) {
        return static_cast<float>(*integer);
    }
    refuse_type(tree, object, name, *value, "a number");
}

std::int64_t read_integer(DataTree& tree, ObjectId object, const std::string& name) {
    const auto value = read_unwrapped(tree, object, name);
    if (!value) {
        return 0;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&*value)) {
        return *integer;
    }
    const auto* single = std::get_if<float>(&*value);
    const auto* number = std::get_if<double>(&*value);
    if (single == nullptr && number == nullptr) {
        refuse_type(tree, object, name, *value, "an integer");
    }
    const auto integer = to_integer(single != nullptr ? static_cast<double>(*single) : *number);
    if (!integer) {
        refuse_type(tree, object, name, *value, "one that fits an integer of 64 bits");
    }
    return *integer;
}

std::optional<std::string> read_text(DataTree& tree, ObjectId object, const std::string& name) {
    const auto value = read_unwrapped(tree, object, name);
    if (!value) {
        return std::nullopt;
    }
    if (const auto* text = std::get_if<std::string>(&*value)) {
        return *text;
    }
    refuse_type(tree, object, name, *value, "a text");
}

bool has_attribute(DataTree& tree, ObjectId object, const std::string& name) {
    return std::ranges::count(tree.list_attributes(object), name) > 0;
}

} // namespace talvora::host

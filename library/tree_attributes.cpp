// Trees in memory: attributes of groups and data sets.
#include "host/tree/tree_rules.h"
#include "library/caller_texts.h"
#include "library/guarded_call.h"
#include "library/tree_objects.h"
#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>
#include <variant>

namespace talvora::library {
namespace {

// ---------------------------------------------------------------------------
// From the caller

host::Extents read_extents(const talvora_attribute& attribute) {
    if (attribute.rank < 0 || static_cast<std::size_t>(attribute.rank) > host::MAX_RANK) {
        throw InvalidArgument(fmt::format("the rank of the attribute is {} (allowed: 0 to {})",
                                          attribute.rank, host::MAX_RANK));
    }
    if (attribute.rank == 0) {
        return {};
    }
    check_pointer(attribute.extents, "extents of the attribute");
    host::Extents extents;
    for (const std::int64_t extent :
         std::span(attribute.extents, static_cast<std::size_t>(attribute.rank))) {
        if (extent < 0) {
            throw InvalidArgument(
                fmt::format("the attribute has the extent {} (allowed: 0 and more)", extent));
        }
        extents.push_back(static_cast<std::uint64_t>(extent));
    }
    return extents;
}

// As many values as the extents hold; one where there are none.
template <typename Value>
std::span<const Value> read_values(const Value* values, const host::Extents& extents,
                                   std::string_view name) {
    const std::uint64_t count = host::count_samples(extents);
    if (count > std::numeric_limits<std::ptrdiff_t>::max() / sizeof(Value)) {
        throw InvalidArgument(fmt::format("the extents {} hold more values than memory can",
                                          host::describe_extents(extents)));
    }
    if (count > 0) {
        check_pointer(values, name);
    }
    return {values, count};
}

// One value, or an array of them.
template <typename Array, typename Value>
host::AttributeValue make_value(std::vector<Value> values, host::Extents extents) {
    if (extents.empty()) {
        return std::move(values.front());
    }
    return Array{std::move(values), std::move(extents)};
}

float read_float(const talvora_attribute& attribute, const host::Extents& extents) {
    if (!extents.empty()) {
        throw InvalidArgument("an attribute of TALVORA_FLOAT_NUMBERS is one value, of rank 0");
    }
    const double number = read_values(attribute.numbers, extents, "numbers").front();
    const auto rounded = static_cast<float>(number);
    if (std::isinf(rounded) && std::isfinite(number)) {
        throw InvalidArgument(fmt::format("no 32-bit float is near to {:.6g}", number));
    }
    return rounded;
}

host::AttributeValue read_value(const talvora_attribute& attribute) {
    const host::Extents extents = read_extents(attribute);
    switch (attribute.type) {
    case TALVORA_INTEGERS: {
        const auto values = read_values(attribute.integers, extents, "integers");
        return make_value<host::IntegerArray>(std::vector(values.begin(), values.end()), extents);
    }
    case TALVORA_NUMBERS: {
        const auto values = read_values(attribute.numbers, extents, "numbers");
        return make_value<host::NumberArray>(std::vector(values.begin(), values.end()), extents);
    }
    case TALVORA_TEXTS: {
        std::vector<std::string> texts;
        for (const char* text : read_values(attribute.texts, extents, "texts")) {
            texts.push_back(read_text(text, "a text of the attribute"));
        }
        return make_value<host::TextArray>(std::move(texts), extents);
    }
    case TALVORA_FLOAT_NUMBERS:
        return read_float(attribute, extents);
    default:
        throw InvalidArgument(
            fmt::format("the type of the attribute is {} (allowed: 1 to 4)", attribute.type));
    }
}

// ---------------------------------------------------------------------------
// To the caller

talvora_attribute make_head(talvora_attribute_type type, GivenAttribute& given) {
    talvora_attribute attribute{};
    attribute.type = type;
    attribute.rank = static_cast<std::int32_t>(given.extents.size());
    attribute.extents = given.extents.empty() ? nullptr : given.extents.data();
    return attribute;
}

talvora_attribute give_integers(const std::int64_t* values, GivenAttribute& given) {
    talvora_attribute attribute = make_head(TALVORA_INTEGERS, given);
    attribute.integers = values;
    return attribute;
}

talvora_attribute give_numbers(talvora_attribute_type type, const double* values,
                               GivenAttribute& given) {
    talvora_attribute attribute = make_head(type, given);
    attribute.numbers = values;
    return attribute;
}

talvora_attribute give_texts(std::span<const std::string> texts, GivenAttribute& given) {
    talvora_attribute attribute = make_head(TALVORA_TEXTS, given);
    for (const std::string& text : texts) {
        given.texts.push_back(text.c_str());
    }
    attribute.texts = given.texts.data();
    return attribute;
}

// What a value looks like in the header; it stays in `given`.
struct GiveValue {
    GivenAttribute& given;

    talvora_attribute operator()(const std::int64_t& value) const {
        return give_integers(&value, given);
    }
    talvora_attribute operator()(const float& value) const {
        given.number = static_cast<double>(value);
        return give_numbers(TALVORA_FLOAT_NUMBERS, &given.number, given);
    }
    talvora_attribute operator()(const double& value) const {
        return give_numbers(TALVORA_NUMBERS, &value, given);
    }
    talvora_attribute operator()(const std::string& value) const {
        return give_texts(std::span(&value, 1), given);
    }
    talvora_attribute operator()(const host::IntegerArray& array) const {
        given.extents = to_signed(array.extents);
        return give_integers(array.values.data(), given);
    }
    talvora_attribute operator()(const host::NumberArray& array) const {
        given.extents = to_signed(array.extents);
        return give_numbers(TALVORA_NUMBERS, array.values.data(), given);
    }
    talvora_attribute operator()(const host::TextArray& array) const {
        given.extents = to_signed(array.extents);
        return give_texts(array.values, given);
    }
};

talvora_attribute give_attribute(talvora_tree& tree, const std::string& path,
                                 const std::string& name) {
    auto value = tree.objects->read_attribute(find_object(tree, path), name);
    if (!value) {
        throw CallError(TALVORA_NOT_FOUND,
                        fmt::format("'{}' has no attribute '{}'", path.empty() ? "/" : path, name));
    }
    tree.given = {.value = std::move(*value), .extents = {}, .texts = {}};
    return std::visit(GiveValue{tree.given}, tree.given.value);
}

void visit_names(talvora_tree& tree, const std::string& path, talvora_visit_name visit,
                 void* context) {
    for (const std::string& name : tree.objects->list_attributes(find_object(tree, path))) {
        if (visit(context, name.c_str()) != 0) {
            throw CallError(TALVORA_STOPPED, fmt::format("stopped at the attribute '{}'", name));
        }
    }
}

} // namespace
} // namespace talvora::library

using namespace talvora::library;

talvora_status talvora_tree_set_attribute(talvora_tree* tree, const char* path, const char* name,
                                          const talvora_attribute* attribute, char* error,
                                          size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        const auto object = find_object(*tree, read_text(path, "path"));
        tree->objects->write_attribute(object, read_text(name, "name"),
                                       read_value(read_structure(attribute, "attribute")));
    });
}

talvora_status talvora_tree_get_attribute(talvora_tree* tree, const char* path, const char* name,
                                          talvora_attribute* attribute, char* error,
                                          size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_structure(attribute, "attribute");
        write_structure(give_attribute(*tree, read_text(path, "path"), read_text(name, "name")),
                        attribute, "attribute");
    });
}

talvora_status talvora_tree_visit_attributes(talvora_tree* tree, const char* path,
                                             talvora_visit_name visit, void* context, char* error,
                                             size_t error_size) {
    return guard_call(error, error_size, [&] {
        check_pointer(tree, "tree");
        check_pointer(reinterpret_cast<const void*>(visit), "visit");
        visit_names(*tree, read_text(path, "path"), visit, context);
    });
}

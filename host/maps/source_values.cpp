#include "host/maps/source_values.h"

#include "host/text/path_glob.h"
#include "host/text/utf8.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <span>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

// More components, or letters of a name, than anything has.
constexpr std::uint64_t MAX_VALUES = 65'536;

// A path from a group on, of which ".." leads to the group above.
std::string resolve(const std::string& group, const std::string& path) {
    std::vector<std::string> names =
        path.starts_with('/') ? std::vector<std::string>() : split_names(group);
    for (std::string& name : split_names(path)) {
        if (name != "..") {
            names.push_back(std::move(name));
        } else if (!names.empty()) {
            names.pop_back();
        }
    }
    std::string resolved;
    for (const std::string& name : names) {
        resolved = join_path(resolved, name);
    }
    return resolved;
}

struct AsNumbers {
    std::optional<std::vector<double>> operator()(std::int64_t value) const {
        return std::vector{static_cast<double>(value)};
    }
    std::optional<std::vector<double>> operator()(float value) const {
        return std::vector{static_cast<double>(value)};
    }
    std::optional<std::vector<double>> operator()(double value) const { return std::vector{value}; }
    std::optional<std::vector<double>> operator()(const IntegerArray& array) const {
        return std::vector<double>(array.values.begin(), array.values.end());
    }
    std::optional<std::vector<double>> operator()(const NumberArray& array) const {
        return array.values;
    }
    template <typename Texts>
    std::optional<std::vector<double>> operator()(const Texts&) const {
        return std::nullopt;
    }
};

std::optional<std::string> as_utf16_text(const IntegerArray& array) {
    std::u16string letters;
    for (const std::int64_t value : array.values) {
        if (value < 1 || value > std::numeric_limits<char16_t>::max()) {
            return std::nullopt;
        }
        letters += static_cast<char16_t>(value);
    }
    return utf16_to_utf8(letters);
}

struct AsTexts {
    std::optional<std::vector<std::string>> operator()(const std::string& value) const {
        return std::vector{value};
    }
    std::optional<std::vector<std::string>> operator()(const TextArray& array) const {
        return array.values;
    }
    template <typename Numbers>
    std::optional<std::vector<std::string>> operator()(const Numbers&) const {
        return std::nullopt;
    }
};

// A line of letters; a matrix of them has none that could be told from the others.
bool is_line(const Extents& extents) {
    return std::ranges::count_if(extents, [](std::uint64_t extent) { return extent != 1; }) <= 1;
}

std::optional<std::vector<std::string>> as_texts(const AttributeValue& value, bool is_letters) {
    const auto* integers = std::get_if<IntegerArray>(&value);
    if (integers == nullptr || !is_letters || !is_line(integers->extents)) {
        return std::visit(AsTexts{}, value);
    }
    const auto text = as_utf16_text(*integers);
    return text ? std::optional(std::vector{*text}) : std::nullopt;
}

// What texts are stored as letter by letter.
bool holds_letters(const Hdf5Tree& tree, ObjectId object) {
    return tree.kind(object) == ObjectKind::DataSet &&
           tree.sample_type(object) == SampleType::UInt16;
}

// MAT files tell so of letters, which are numbers to HDF5.
bool is_marked_as_text(Hdf5Tree& tree, ObjectId object) {
    const auto mark = tree.read_attribute(object, "MATLAB_class");
    const auto* text = mark ? std::get_if<std::string>(&*mark) : nullptr;
    return text != nullptr && *text == "char";
}

} // namespace

SourceValues::SourceValues(Hdf5Tree& tree, ObjectId set, const std::string& path)
    : tree_(tree), set_(set), path_(path) {}

std::string SourceValues::path_of(const ValuePlace& place) const {
    return place.object.empty() ? path_ : resolve(split_last(path_).first, place.object);
}

std::string SourceValues::describe(const ValuePlace& place) const {
    switch (place.kind) {
    case ValuePlace::Kind::Attribute:
        return fmt::format("attribute '{}' of '{}'", place.attribute, path_of(place));
    case ValuePlace::Kind::DataSet:
        return fmt::format("data set '{}'", path_of(place));
    case ValuePlace::Kind::Constant:
        break;
    }
    return "value in the map";
}

std::optional<FoundPlace> SourceValues::find(const ValueChoice& choice) {
    for (const ValuePlace& place : choice) {
        if (place.kind == ValuePlace::Kind::Constant) {
            return FoundPlace{&place, {}, "the map", "the " + describe(place)};
        }
        const auto object =
            place.object.empty() ? std::optional(set_) : tree_.find(tree_.root(), path_of(place));
        if (!object) {
            continue;
        }
        const bool is_dataset = place.kind == ValuePlace::Kind::DataSet;
        const bool is_there =
            is_dataset ? tree_.kind(*object) != ObjectKind::Group
                       : std::ranges::count(tree_.list_attributes(*object), place.attribute) > 0;
        if (is_there) {
            return FoundPlace{&place, *object, path_of(place), "the " + describe(place)};
        }
    }
    return std::nullopt;
}

std::string SourceValues::describe_missing(const ValueChoice& choice) const {
    std::string text;
    for (const ValuePlace& place : choice) {
        text += fmt::format("{} {}", text.empty() ? "no" : " and no", describe(place));
    }
    return text;
}

AttributeValue SourceValues::read(const FoundPlace& found, std::uint64_t max_count) {
    switch (found.place->kind) {
    case ValuePlace::Kind::Attribute:
        return tree_.read_attribute(found.object, found.place->attribute).value();
    case ValuePlace::Kind::DataSet:
        return tree_.read_values(found.object, max_count);
    case ValuePlace::Kind::Constant:
        break;
    }
    return found.place->constant;
}

std::vector<double> SourceValues::read_numbers(const FoundPlace& found, std::uint64_t max_count) {
    const bool is_text = found.is_dataset() && is_marked_as_text(tree_, found.object);
    auto numbers = is_text ? std::nullopt : std::visit(AsNumbers{}, read(found, max_count));
    if (!numbers) {
        throw TreeError(fmt::format("{} holds texts (wanted: numbers)", found.description));
    }
    return std::move(*numbers);
}

double SourceValues::read_number(const FoundPlace& found) {
    const std::vector<double> numbers = read_numbers(found, MAX_VALUES);
    if (numbers.size() != 1) {
        throw TreeError(
            fmt::format("{} holds {} numbers (wanted: one)", found.description, numbers.size()));
    }
    return numbers.front();
}

std::vector<std::string> SourceValues::read_texts(const FoundPlace& found) {
    if (found.is_dataset() && tree_.holds_references(found.object)) {
        return read_referred_texts(found);
    }
    const bool is_letters = found.is_dataset() && holds_letters(tree_, found.object);
    auto texts = as_texts(read(found, MAX_VALUES), is_letters);
    if (!texts) {
        throw TreeError(fmt::format("{} holds no texts (wanted: texts, or a line of letters)",
                                    found.description));
    }
    return std::move(*texts);
}

std::vector<std::string> SourceValues::read_referred_texts(const FoundPlace& found) {
    std::vector<std::string> all;
    for (const auto& object : tree_.follow_references(found.object, MAX_VALUES)) {
        const std::size_t number = all.size() + 1;
        if (!object || !holds_letters(tree_, *object)) {
            throw TreeError(fmt::format("cell {} of {} holds no text", number, found.description));
        }
        const auto text = as_texts(tree_.read_values(*object, MAX_VALUES), true);
        if (!text) {
            throw TreeError(
                fmt::format("cell {} of {} holds more than one text", number, found.description));
        }
        all.push_back(text->front());
    }
    return all;
}

} // namespace talvora::host

#include "host/tree/line_names.h"

#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

std::vector<std::string> read_texts(DataTree& tree, ObjectId set, const std::string& name) {
    try {
        auto value = tree.read_attribute(set, name);
        if (auto* text = value ? std::get_if<std::string>(&*value) : nullptr) {
            return {std::move(*text)};
        }
        if (auto* texts = value ? std::get_if<TextArray>(&*value) : nullptr) {
            return std::move(texts->values);
        }
    } catch (const StorageError&) {
        throw;
    } catch (const TreeError&) { // of a type that cannot be read
    }
    return {};
}

// The samples of a line run along the last dimension.
std::size_t count_line_dimensions(const Extents& extents) {
    return extents.empty() ? 0 : extents.size() - 1;
}

bool is_only_line(const Extents& extents) {
    return std::ranges::all_of(std::span(extents).first(count_line_dimensions(extents)),
                               [](std::uint64_t extent) { return extent == 1; });
}

// Those that texts may be for, the likelier one first where as many are in both.
using Dimensions = std::array<std::size_t, 2>;
constexpr Dimensions COLUMNS_FIRST = {1, 0};    // labels
constexpr Dimensions COMPONENTS_FIRST = {0, 1}; // units

std::optional<std::size_t> find_dimension(const Extents& extents, std::size_t text_count,
                                          const Dimensions& dimensions) {
    if (is_only_line(extents)) {
        return text_count == 1 ? std::optional<std::size_t>(0) : std::nullopt;
    }
    for (const std::size_t dimension : dimensions) {
        if (dimension < count_line_dimensions(extents) && extents[dimension] == text_count) {
            return dimension;
        }
    }
    return std::nullopt;
}

DimensionTexts fit(std::vector<std::string> texts, const Extents& extents,
                   const Dimensions& dimensions) {
    const auto dimension = find_dimension(extents, texts.size(), dimensions);
    return dimension ? DimensionTexts{std::move(texts), *dimension} : DimensionTexts{};
}

bool tell_apart(const std::vector<std::string>& labels) {
    std::set<std::string_view> seen;
    return std::ranges::all_of(labels, [&](const std::string& label) {
        return !label.empty() && seen.insert(label).second;
    });
}

DimensionTexts shorten(const DimensionTexts& labels, const std::string& set_name) {
    if (labels.texts.size() == 1 && set_name.starts_with(labels.texts.front())) {
        return {};
    }
    return {without_shared_words(labels.texts), labels.dimension};
}

DimensionTexts fit_units(std::vector<std::string> units, const Extents& extents) {
    return units.size() == 1 ? DimensionTexts{std::move(units), 0}
                             : fit(std::move(units), extents, COMPONENTS_FIRST);
}

// '/' parts the names of a path.
std::string as_in_path(std::string text) {
    std::ranges::replace(text, '/', '_');
    return text;
}

std::size_t end_of_shared_words(const std::string& a, const std::string& b, std::size_t limit) {
    const auto [end, ignored] = std::ranges::mismatch(a, b);
    const auto shared = std::min(limit, static_cast<std::size_t>(end - a.begin()));
    const std::size_t last = shared == 0 ? std::string::npos : a.find_last_of(" _.", shared - 1);
    return last == std::string::npos ? 0 : last + 1;
}

} // namespace

std::vector<std::string> read_labels(DataTree& tree, ObjectId set) {
    return read_texts(tree, set, LABELS_ATTRIBUTE);
}

bool fits_lines(const Extents& extents, std::size_t label_count) {
    return find_dimension(extents, label_count, COLUMNS_FIRST).has_value();
}

LineNames read_line_names(DataTree& tree, ObjectId set) {
    const Extents extents = tree.extents(set);
    LineNames names;
    names.units = fit_units(read_texts(tree, set, UNIT_ATTRIBUTE), extents);
    const auto labels = fit(read_labels(tree, set), extents, COLUMNS_FIRST);
    if (tell_apart(labels.texts)) {
        names.labels = labels;
        names.short_labels = shorten(labels, split_last(tree.path(set)).second);
    }
    return names;
}

const std::string& text_of_line(const DimensionTexts& texts, const Extents& extents,
                                std::size_t line) {
    static const std::string NONE;
    if (texts.texts.size() < 2) {
        return texts.texts.empty() ? NONE : texts.texts.front();
    }
    for (std::size_t dimension = texts.dimension + 1; dimension + 1 < extents.size(); ++dimension) {
        line /= extents[dimension];
    }
    return texts.texts[line % extents[texts.dimension]];
}

std::vector<std::string> without_shared_words(std::vector<std::string> texts) {
    if (texts.size() < 2) {
        return texts;
    }
    std::size_t end = texts.front().size();
    for (const std::string& text : texts) {
        end = end_of_shared_words(texts.front(), text, end);
    }
    if (std::ranges::none_of(texts, [&](const auto& text) { return text.size() == end; })) {
        for (std::string& text : texts) {
            text.erase(0, end);
        }
    }
    return texts;
}

std::string name_with_unit(std::string name, std::string_view unit) {
    if (unit.empty()) {
        return name;
    }
    for (const std::string_view brackets : {"()", "[]"}) {
        const std::string ending =
            as_in_path(fmt::format("{}{}{}", brackets[0], unit, brackets[1]));
        if (as_in_path(name).ends_with(ending)) {
            name.resize(name.size() - ending.size());
            name.resize(name.find_last_not_of(' ') + 1); // also where nothing is left
        }
    }
    return fmt::format("{}{}({})", name, name.empty() ? "" : " ", unit);
}

} // namespace talvora::host

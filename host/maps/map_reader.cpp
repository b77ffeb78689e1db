#include "host/maps/map_reader.h"

#include "host/maps/shipped_maps.h"
#include "host/recipes/recipe_problems.h"
#include "host/recipes/recipe_variables.h"
#include "host/recipes/yaml_fields.h"
#include "host/recipes/yaml_file.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/parse_number.h"
#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <utility>

namespace talvora::host {
namespace {

using Kind = YamlNode::Kind;

struct ShippedMap {
    std::string_view name;
    std::string_view text;
};
constexpr ShippedMap SHIPPED_MAPS[] = {{"mat", maps::MAT}, {"nwb", maps::NWB}};

enum class Wanted { Numbers, Texts, Nothing }; // of a place

struct ChoiceField {
    std::string_view key;
    ValueChoice MappedSets::*choice;
    Wanted wanted;
};
constexpr ChoiceField CHOICE_FIELDS[] = {
    {"unless", &MappedSets::unless, Wanted::Nothing},
    {"refuse", &MappedSets::refuse, Wanted::Nothing},
    {"rate", &MappedSets::rate, Wanted::Numbers},
    {"start", &MappedSets::start, Wanted::Numbers},
    {"times", &MappedSets::times, Wanted::Numbers},
    {"times_beside", &MappedSets::times_beside, Wanted::Numbers},
    {"scale", &MappedSets::scale, Wanted::Numbers},
    {"component_scale", &MappedSets::component_scale, Wanted::Numbers},
    {"offset", &MappedSets::offset, Wanted::Numbers},
    {"polynomial", &MappedSets::polynomial, Wanted::Numbers},
    {"unit", &MappedSets::unit, Wanted::Texts},
    {"names", &MappedSets::names, Wanted::Texts},
};

std::vector<std::string> list_set_keys() {
    std::vector<std::string> keys = {"data", "except", "where", "order", "time", "name"};
    std::ranges::transform(CHOICE_FIELDS, std::back_inserter(keys),
                           [](const ChoiceField& field) { return std::string(field.key); });
    return keys;
}

class MapReader {
  public:
    explicit MapReader(RecipeProblems& problems) : problems_(problems), variables_(problems) {}

    ImportMap read(const YamlNode& root, std::span<const std::string> settings) {
        ImportMap map;
        if (!problems_.expect_kind(root, Kind::Map,
                                   "a map has the keys description, variables, sets")) {
            return map;
        }
        const YamlFields fields(root, {"description", "variables", "sets"}, problems_);
        if (const YamlNode* node = fields.find("description"); is_given(node)) {
            map.description = read_text(*node).value_or("");
        }
        variables_.read(fields.find("variables"), settings);
        read_all_sets(root, fields.find("sets"), map);
        variables_.check_uses();
        return map;
    }

  private:
    void read_all_sets(const YamlNode& root, const YamlNode* node, ImportMap& map) {
        if (!is_given(node) || (node->kind == Kind::List && node->items.empty())) {
            return problems_.add(node == nullptr ? root.place : node->key_place,
                                 "the map names no sets");
        }
        if (!problems_.expect_kind(*node, Kind::List, "'sets' is a list")) {
            return;
        }
        for (const YamlNode& item : node->items) {
            if (problems_.expect_kind(item, Kind::Map,
                                      "one of the sets is a map of keys to values")) {
                map.sets.push_back(read_sets(item));
            }
        }
    }

    MappedSets read_sets(const YamlNode& node) {
        const YamlFields fields(node, list_set_keys(), problems_);
        MappedSets sets;
        if (const YamlNode* data = fields.find("data"); is_given(data)) {
            sets.data = read_texts(*data);
        } else {
            problems_.add(node.place, "the sets have no 'data', a pattern of their paths");
        }
        if (const YamlNode* except = fields.find("except"); is_given(except)) {
            sets.except = read_texts(*except);
        }
        if (const YamlNode* where = fields.find("where"); is_given(where)) {
            sets.where = read_condition(*where);
        }
        sets.column_order = read_word(fields.find("order"), {"rows", "columns"}) == "columns";
        sets.time_dimension = read_time(node, fields.find("time"));
        sets.name = read_name(fields.find("name"));
        for (const ChoiceField& field : CHOICE_FIELDS) {
            if (const YamlNode* choice = fields.find(field.key); is_given(choice)) {
                sets.*field.choice = read_choice(*choice, field.wanted);
            }
        }
        refuse_two_calibrations(fields, sets);
        return sets;
    }

    void refuse_two_calibrations(const YamlFields& fields, const MappedSets& sets) {
        if (!sets.polynomial.empty() &&
            !(sets.scale.empty() && sets.component_scale.empty() && sets.offset.empty())) {
            problems_.add(fields.find("polynomial")->key_place,
                          "'polynomial' stands in place of scale, component_scale and offset");
        }
    }

    // Nothing where it is none, which is reported.
    std::optional<std::string> read_text(const YamlNode& node) {
        const YamlNode filled = variables_.fill_in(node, false);
        if (!problems_.expect_kind(filled, Kind::Scalar, fmt::format("'{}' is a text", node.key))) {
            return std::nullopt;
        }
        return filled.text;
    }

    // One text, or a list of them.
    std::vector<std::string> read_texts(const YamlNode& node) {
        const YamlNode filled = variables_.fill_in(node, true);
        if (filled.kind == Kind::Scalar) {
            return {filled.text};
        }
        std::vector<std::string> texts;
        if (problems_.expect_kind(filled, Kind::List,
                                  fmt::format("'{}' is a text or a list of them", node.key))) {
            for (const YamlNode& item : filled.items) {
                if (problems_.expect_kind(item, Kind::Scalar, "each of them is a text")) {
                    texts.push_back(item.text);
                }
            }
        }
        return texts;
    }

    // One of the words, or the first where none is given.
    std::string read_word(const YamlNode* node, const std::vector<std::string>& words) {
        const auto word = is_given(node) ? read_text(*node) : words.front();
        if (word && std::ranges::find(words, *word) == words.end()) {
            problems_.add(node->place, fmt::format("'{}': '{}' (allowed: {})", node->key, *word,
                                                   join_texts(words)));
        }
        return word.value_or(words.front());
    }

    int read_time(const YamlNode& sets, const YamlNode* node) {
        if (!is_given(node)) {
            problems_.add(sets.place, "the sets have no 'time', the dimension of time",
                          "time: first");
            return 0;
        }
        const auto text = read_text(*node);
        if (!text || *text == "first") {
            return 0;
        }
        if (*text == "last") {
            return -1;
        }
        constexpr int LIMIT = MAX_RANK;
        const auto number = parse_number<int>(*text);
        if (!number || *number < -LIMIT || *number >= LIMIT) {
            problems_.add(node->place,
                          fmt::format("'time': '{}' (allowed: first, last, or a number from {} to "
                                      "{})",
                                      *text, -LIMIT, LIMIT - 1));
        }
        return number.value_or(0);
    }

    std::string read_name(const YamlNode* node) {
        std::string name = is_given(node) ? read_text(*node).value_or("") : "{path}";
        std::string rest = name;
        for (const std::string_view part : {"{path}", "{group}", "{name}"}) {
            while (rest.find(part) != std::string::npos) {
                rest.erase(rest.find(part), part.size());
            }
        }
        if (rest.find_first_of("{}") != std::string::npos) {
            problems_.add(node->place, fmt::format("'name': '{}' (allowed in braces: {{path}}, "
                                                   "{{group}}, {{name}})",
                                                   name));
        }
        return name;
    }

    std::optional<TextCondition> read_condition(const YamlNode& node) {
        if (!problems_.expect_kind(node, Kind::Map,
                                   "'where' is a map with the keys attribute, is")) {
            return std::nullopt;
        }
        const YamlFields fields(node, {"attribute", "is"}, problems_);
        const YamlNode* attribute = fields.find("attribute");
        const YamlNode* allowed = fields.find("is");
        if (!is_given(attribute) || !is_given(allowed)) {
            problems_.add(node.place, "'where' needs both attribute and is");
            return std::nullopt;
        }
        return TextCondition{read_text(*attribute).value_or(""), read_texts(*allowed)};
    }

    // -----------------------------------------------------------------------
    // Places of values

    ValueChoice read_choice(const YamlNode& node, Wanted wanted) {
        const bool is_list = node.kind == Kind::List && !is_list_of_values(node);
        const std::span<const YamlNode> items =
            is_list ? std::span(node.items) : std::span(&node, 1);
        ValueChoice choice;
        for (const YamlNode& item : items) {
            if (!choice.empty() && choice.back().kind == ValuePlace::Kind::Constant) {
                problems_.add(item.place, "a value in front of it is always there: this place "
                                          "would never count");
                break;
            }
            const auto place =
                item.kind == Kind::Map ? read_place(item, wanted) : read_constant(item, wanted);
            if (place) {
                choice.push_back(*place);
            }
        }
        return choice;
    }

    // And of no places: one for each component.
    static bool is_list_of_values(const YamlNode& node) {
        return node.items.size() > 1 && std::ranges::all_of(node.items, [](const YamlNode& item) {
                   return item.kind == Kind::Scalar;
               });
    }

    std::optional<ValuePlace> read_place(const YamlNode& node, Wanted wanted) {
        const YamlFields fields(node, {"attribute", "of", "dataset", "value"}, problems_);
        const YamlNode* attribute = fields.find("attribute");
        const YamlNode* dataset = fields.find("dataset");
        const YamlNode* value = fields.find("value");
        if (is_given(attribute) + is_given(dataset) + is_given(value) != 1 ||
            (is_given(fields.find("of")) && !is_given(attribute))) {
            problems_.add(node.place, "a place is one of {attribute: NAME}, {attribute: NAME, of: "
                                      "PATH}, {dataset: PATH}, {value: VALUE}");
            return std::nullopt;
        }
        if (is_given(value)) {
            return read_constant(*value, wanted);
        }
        ValuePlace place;
        place.kind = is_given(attribute) ? ValuePlace::Kind::Attribute : ValuePlace::Kind::DataSet;
        const YamlNode* object = is_given(attribute) ? fields.find("of") : dataset;
        place.attribute = is_given(attribute) ? read_text(*attribute).value_or("") : "";
        place.object = is_given(object) ? read_text(*object).value_or("") : "";
        // A variable that is left empty names nothing.
        const std::string& named = is_given(attribute) ? place.attribute : place.object;
        return named.empty() ? std::nullopt : std::optional(place);
    }

    std::optional<ValuePlace> read_constant(const YamlNode& node, Wanted wanted) {
        if (wanted == Wanted::Nothing) {
            problems_.add(node.place, "a place is one of {attribute: NAME}, {attribute: NAME, of: "
                                      "PATH}, {dataset: PATH}");
            return std::nullopt;
        }
        const YamlNode filled = variables_.fill_in(node, false);
        const bool is_list = filled.kind == Kind::List;
        const std::span<const YamlNode> items =
            is_list ? std::span(filled.items) : std::span(&filled, 1);
        std::vector<double> numbers;
        std::vector<std::string> texts;
        for (const YamlNode& item : items) {
            if (!problems_.expect_kind(item, Kind::Scalar,
                                       "a value is a number, a text or a list of them")) {
                return std::nullopt;
            }
            const auto number = parse_number<double>(item.text);
            if (wanted == Wanted::Numbers && (!number || !std::isfinite(*number))) {
                problems_.add(node.place, fmt::format("'{}' is no number", item.text));
                return std::nullopt;
            }
            numbers.push_back(number.value_or(0));
            texts.push_back(item.text);
        }
        const Extents extents = {items.size()};
        if (wanted == Wanted::Numbers) {
            return ValuePlace{.constant = NumberArray{std::move(numbers), extents}};
        }
        return ValuePlace{.constant = TextArray{std::move(texts), extents}};
    }

    RecipeProblems& problems_;
    RecipeVariables variables_;
};

} // namespace

std::vector<std::string> list_shipped_maps() {
    std::vector<std::string> names;
    std::ranges::transform(SHIPPED_MAPS, std::back_inserter(names),
                           [](const ShippedMap& map) { return std::string(map.name); });
    return names;
}

std::optional<std::string_view> find_shipped_map(std::string_view name) {
    const auto map = std::ranges::find(SHIPPED_MAPS, name, &ShippedMap::name);
    return map == std::end(SHIPPED_MAPS) ? std::nullopt : std::optional(map->text);
}

ImportMap parse_import_map(std::string_view text, std::string_view file,
                           std::span<const std::string> settings) {
    RecipeProblems problems(file, {.document = "map", .setting_option = "--variable"});
    ImportMap map;
    if (const auto root = read_document(text, problems)) {
        map = MapReader(problems).read(*root, settings);
    }
    problems.throw_if_any();
    map.name = file;
    return map;
}

ImportMap read_import_map(const std::string& name_or_file, std::span<const std::string> settings) {
    if (const auto text = find_shipped_map(name_or_file)) {
        ImportMap map = parse_import_map(*text, name_or_file, settings);
        map.is_shipped = true;
        return map;
    }
    std::error_code ignored;
    if (!std::filesystem::exists(name_or_file, ignored)) {
        throw Failure(ExitCode::Input,
                      fmt::format("--map {}: no such file, and no map of that name (known: {})",
                                  name_or_file, join_texts(list_shipped_maps())));
    }
    return parse_import_map(read_yaml_file(name_or_file, "map"), name_or_file, settings);
}

ImportMap make_array_map(int time_dimension) {
    MappedSets all;
    all.data = {"**"};
    all.are_plain = true;
    all.time_dimension = time_dimension;
    all.name = "{path}";
    all.rate = {{.kind = ValuePlace::Kind::Attribute, .attribute = SAMPLE_RATE_ATTRIBUTE}};
    all.start = {{.kind = ValuePlace::Kind::Attribute, .attribute = START_TIME_ATTRIBUTE}};
    all.unit = {{.kind = ValuePlace::Kind::Attribute, .attribute = UNIT_ATTRIBUTE}};
    all.names = {{.kind = ValuePlace::Kind::Attribute, .attribute = LABELS_ATTRIBUTE}};
    return {.name = "--time-axis", .description = {}, .sets = {std::move(all)}};
}

} // namespace talvora::host

#include "host/recipes/recipe_reader.h"

#include "host/interface/unit_run.h"
#include "host/recipes/recipe_value.h"
#include "host/recipes/recipe_variables.h"
#include "host/recipes/yaml_document.h"
#include "host/recipes/yaml_fields.h"
#include "host/recipes/yaml_file.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace talvora::host {
namespace {

using Kind = YamlNode::Kind;

// ---------------------------------------------------------------------------
// Steps

const std::vector<std::string> STEP_KEYS = {"name",  "unit",    "parameters", "accept",
                                            "edges", "to_rate", "set_by_set"};

class RecipeReader {
  public:
    RecipeReader(const PluginLibrary& library, RecipeProblems& problems, const RecipeChecks& checks)
        : library_(library), problems_(problems), checks_(checks), variables_(problems) {}

    Recipe read(const YamlNode& root, std::span<const std::string> settings) {
        Recipe recipe;
        if (!problems_.expect_kind(root, Kind::Map,
                                   "a recipe is a map with the keys description, "
                                   "variables, steps")) {
            return recipe;
        }
        const YamlFields fields(root, {"description", "variables", "steps"}, problems_);
        recipe.description = read_text(fields.find("description")).value_or("");
        variables_.read(fields.find("variables"), settings);
        read_steps(root, fields.find("steps"), recipe);
        variables_.check_uses();
        return recipe;
    }

  private:
    // Nothing when there is none, or a problem.
    std::optional<std::string> read_text(const YamlNode* node) {
        if (!is_given(node) ||
            !problems_.expect_kind(*node, Kind::Scalar, fmt::format("'{}' is a text", node->key))) {
            return std::nullopt;
        }
        return node->text;
    }

    void read_steps(const YamlNode& root, const YamlNode* node, Recipe& recipe) {
        if (!is_given(node) || (node->kind == Kind::List && node->items.empty())) {
            return problems_.add(node == nullptr ? root.place : node->key_place,
                                 "the recipe has no steps");
        }
        if (!problems_.expect_kind(*node, Kind::List, "'steps' is a list")) {
            return;
        }
        for (const YamlNode& step : node->items) {
            if (problems_.expect_kind(
                    step, Kind::Map,
                    fmt::format("a step is a map with the keys {}", join_texts(STEP_KEYS)))) {
                recipe.steps.push_back(read_step(step));
            }
        }
    }

    Step read_step(const YamlNode& node) {
        const YamlFields fields(node, STEP_KEYS, problems_);
        Step step;
        step.unit = read_unit(node, fields.find("unit"));
        step.name = read_name(node, fields.find("name"), step.unit);
        step.accept = read_accepted(fields.find("accept"));
        step.aims = read_aims(fields);
        const YamlNode* parameters = fields.find("parameters");
        const bool has_parameters =
            is_given(parameters) &&
            problems_.expect_kind(*parameters, Kind::Map,
                                  "'parameters' is a map of keys to values");
        const YamlNode none{};
        const YamlNode& map = has_parameters ? *parameters : none;
        if (step.unit == nullptr) {
            variables_.fill_in(map, false); // so that what it uses counts as used
        } else {
            step.values = read_parameters(
                step, map, parameters == nullptr ? node.place : parameters->key_place);
        }
        return step;
    }

    const Unit* read_unit(const YamlNode& step, const YamlNode* node) {
        const auto name = read_text(node);
        if (!name) {
            if (!is_given(node)) {
                problems_.add(step.place, "the step has no unit", "talvora-host units");
            }
            return nullptr;
        }
        const Unit* unit = library_.find_unit(*name);
        if (unit == nullptr) {
            const auto nearest = find_nearest_unit(library_, *name);
            problems_.add(node->place, fmt::format("no unit '{}'", *name),
                          nearest ? fmt::format("did you mean '{}'?", *nearest)
                                  : "list them: talvora-host units");
        }
        return unit;
    }

    std::string read_name(const YamlNode& step, const YamlNode* node, const Unit* unit) {
        std::string name = read_text(node).value_or(unit == nullptr ? "" : short_name(*unit));
        const YamlPlace place = node == nullptr ? step.place : node->place;
        if (name.empty() && node != nullptr && node->kind == Kind::Scalar) {
            problems_.add(place, "the name of a step cannot be empty");
        }
        if (name.empty()) {
            return name;
        }
        const auto [first, is_new] = names_.emplace(name, place);
        if (!is_new) {
            problems_.add(place,
                          fmt::format("a second step with the name '{}' (the first is in line {})",
                                      name, first->second.line),
                          node == nullptr ? "without a name, a step has that of its unit" : "");
        }
        return name;
    }

    std::vector<std::string> read_accepted(const YamlNode* node) {
        std::vector<std::string> names;
        if (!is_given(node) ||
            !problems_.expect_kind(*node, Kind::List,
                                   "'accept' is a list of the names of guards")) {
            return names;
        }
        for (const YamlNode& item : node->items) {
            if (!problems_.expect_kind(item, Kind::Scalar, "a guard is accepted by its name")) {
                continue;
            }
            if (std::ranges::find(checks_.guards, item.text) == checks_.guards.end()) {
                problems_.add(
                    item.place,
                    fmt::format("no guard '{}' (known: {})", item.text, join_texts(checks_.guards)),
                    suggest_nearest(item.text, checks_.guards));
            }
            names.push_back(item.text);
        }
        return names;
    }

    // A key without a value is left out, as elsewhere.
    template <typename Value>
    std::optional<Value> read_aim(const YamlNode* node, ParameterType type) {
        if (!is_given(node)) {
            return std::nullopt;
        }
        const ParameterSignature signature{node->key, type, std::nullopt, false};
        const auto value =
            read_recipe_value(signature, variables_.fill_in(*node, false), problems_);
        return value ? std::optional(std::get<Value>(*value)) : std::nullopt;
    }

    // One number, or a list of them.
    std::vector<double> read_edges(const YamlNode* node) {
        std::vector<double> edges;
        if (!is_given(node)) {
            return edges;
        }
        const YamlNode filled = variables_.fill_in(*node, true);
        const ParameterSignature signature{node->key, ParameterType::Number, std::nullopt, false};
        for (const YamlNode& item :
             filled.kind == Kind::List ? filled.items : std::vector{filled}) {
            if (const auto edge = read_recipe_value(signature, item, problems_)) {
                edges.push_back(std::get<double>(*edge));
            }
        }
        return edges;
    }

    StepAims read_aims(const YamlFields& fields) {
        return {read_edges(fields.find("edges")),
                read_aim<double>(fields.find("to_rate"), ParameterType::Number),
                read_aim<bool>(fields.find("set_by_set"), ParameterType::Boolean).value_or(false)};
    }

    // What the step's aims find need not be given.
    std::vector<ParameterSignature> list_signatures(const Step& step) const {
        std::vector<ParameterSignature> signatures = declare_unit(*step.unit);
        if (checks_.found_keys) {
            const std::vector<std::string> found = checks_.found_keys(step.aims);
            for (ParameterSignature& signature : signatures) {
                signature.required =
                    signature.required && std::ranges::find(found, signature.key) == found.end();
            }
        }
        return signatures;
    }

    ParameterValues read_parameters(const Step& step, const YamlNode& map, YamlPlace place) {
        const std::size_t problem_count = problems_.count();
        const auto signatures = list_signatures(step);
        ParameterValues::Given given;
        for (const YamlNode& entry : map.items) {
            const auto signature =
                std::ranges::find(signatures, entry.key, &ParameterSignature::key);
            const bool is_known = signature != signatures.end();
            const YamlNode value = variables_.fill_in(entry, is_known && is_list(signature->type));
            if (!is_known) {
                const ParameterProblem unknown = explain_unknown(signatures, entry.key);
                problems_.add(entry.key_place, unknown.text, unknown.hint);
            } else if (const auto read = read_recipe_value(*signature, value, problems_)) {
                given.emplace(entry.key, *read);
            }
        }
        report_missing(signatures, map, place);
        ParameterValues values(signatures, std::move(given));
        if (checks_.step && problems_.count() == problem_count) {
            report_wrong(checks_.step(*step.unit, values, step.aims), map, place);
        }
        return values;
    }

    void report_wrong(const std::vector<ParameterProblem>& wrong, const YamlNode& map,
                      YamlPlace place) {
        for (const ParameterProblem& problem : wrong) {
            const auto entry = std::ranges::find(map.items, problem.key, &YamlNode::key);
            problems_.add(entry == map.items.end() ? place : entry->place, problem.text,
                          problem.hint);
        }
    }

    void report_missing(std::span<const ParameterSignature> signatures, const YamlNode& map,
                        YamlPlace place) {
        for (const ParameterSignature& signature : signatures) {
            if (signature.required &&
                std::ranges::find(map.items, signature.key, &YamlNode::key) == map.items.end()) {
                problems_.add(place, explain_missing(signature).text,
                              fmt::format("{}: {}", signature.key, allowed_values(signature.type)));
            }
        }
    }

    const PluginLibrary& library_;
    RecipeProblems& problems_;
    const RecipeChecks& checks_;
    RecipeVariables variables_;
    std::map<std::string, YamlPlace> names_;
};

} // namespace

Recipe parse_recipe(std::string_view text, std::string_view file,
                    std::span<const std::string> settings, const PluginLibrary& library,
                    const RecipeChecks& checks) {
    RecipeProblems problems(file);
    Recipe recipe;
    if (const auto root = read_document(text, problems)) {
        recipe = RecipeReader(library, problems, checks).read(*root, settings);
    }
    problems.throw_if_any();
    return recipe;
}

Recipe read_recipe(const std::filesystem::path& file, std::span<const std::string> settings,
                   const PluginLibrary& library, const RecipeChecks& checks) {
    return parse_recipe(read_yaml_file(file, "recipe"), file.string(), settings, library, checks);
}

} // namespace talvora::host

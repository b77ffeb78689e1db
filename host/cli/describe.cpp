// talvora-host describe UNIT [--json|--recipe]
#include "host/cli/describe.h"

#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/filters/known_units.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"
#include "host/recipes/recipe_writer.h"
#include "host/text/align_columns.h"
#include "host/text/join_texts.h"

#include <fmt/format.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;
using Signatures = std::span<const ParameterSignature>;

std::string describe_default(const ParameterSignature& parameter) {
    if (parameter.required) {
        return "required";
    }
    return parameter.default_value ? "default " + format_value(*parameter.default_value)
                                   : "optional";
}

// "Hz; above 0"; empty where the signature says all that there is to know.
std::string describe_values(const ParameterSignature& parameter, const ParameterFacts& facts) {
    std::vector<std::string> texts;
    for (std::string text : {std::string(facts.measure), describe_allowed(parameter, facts)}) {
        if (!text.empty()) {
            texts.push_back(std::move(text));
        }
    }
    return join_texts(texts, "; ");
}

void print_meaning(const Console& console, const ParameterSignature& parameter,
                   const ParameterFacts& facts) {
    const std::string values = describe_values(parameter, facts);
    console.result(fmt::format("      {}{}", facts.meaning,
                               values.empty() ? "" : fmt::format(" ({})", values)));
}

void print_parameters(const Console& console, const Unit& unit, Signatures signatures) {
    std::vector<std::vector<std::string>> rows;
    for (const ParameterSignature& parameter : signatures) {
        rows.push_back({"  " + parameter.key, std::string(type_name(parameter.type)),
                        describe_default(parameter)});
    }
    console.result("\nParameters");
    const std::vector<std::string> lines = align_columns(rows, {false, false, false});
    for (std::size_t i = 0; i < lines.size(); ++i) {
        console.result(lines[i]);
        if (const auto* facts = find_parameter_facts(unit, signatures[i].key)) {
            print_meaning(console, signatures[i], *facts);
        }
    }
    for (const std::string& choice : describe_key_choices(unit)) {
        console.result(fmt::format("  ({})", choice));
    }
    console.result("  (a list is given by repeating its key)");
}

void print_unit(Session& session, const Unit& unit, Signatures signatures) {
    const Console& console = session.console;
    const Unit* current = find_current_unit(session.plugin(), unit);
    console.result(fmt::format("{} {} ({}, {})", unit.name,
                               unit.version.value_or(unit.date.value_or("")), unit.category,
                               unit.vendor));
    console.result(current != nullptr ? "Legacy identifier of " + current->name
                                      : unit.description.value_or(""));
    print_parameters(console, unit, signatures);
    console.result(fmt::format("\nReads    {}", describe_reads(signatures)));
    console.result(fmt::format("Writes   {}", describe_writes(signatures)));
    console.result(fmt::format("Example  {}", make_example(unit, signatures)));
}

Json make_json(const std::optional<ParameterValue>& value) {
    return value ? std::visit([](const auto& held) { return Json(held); }, *value) : Json(nullptr);
}

Json make_text_json(std::string_view text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json make_json(const Unit& unit, const ParameterSignature& parameter) {
    const ParameterFacts* known = find_parameter_facts(unit, parameter.key);
    const ParameterFacts facts = known == nullptr ? ParameterFacts() : *known;
    const auto words = known == nullptr || parameter.type != ParameterType::String
                           ? std::vector<std::string>()
                           : list_value_words(parameter);
    return {{"key", parameter.key},
            {"type", type_name(parameter.type)},
            {"required", parameter.required},
            {"default", make_json(parameter.default_value)},
            {"meaning", make_text_json(facts.meaning)},
            {"measure", make_text_json(facts.measure)},
            {"allowed", make_text_json(facts.allowed)},
            {"words", words.empty() ? Json(nullptr) : Json(words)}};
}

Json make_json(const Unit& unit, Signatures signatures) {
    Json list = Json::array();
    for (const ParameterSignature& parameter : signatures) {
        list.push_back(make_json(unit, parameter));
    }
    return list;
}

void print_json(Session& session, const Unit& unit, Signatures signatures) {
    const Unit* found = find_current_unit(session.plugin(), unit);
    const Unit& current = found != nullptr ? *found : unit;
    Json choices = Json::array();
    for (const KeyChoice& choice : list_key_choices(unit)) {
        choices.push_back(choice);
    }
    session.console.document({{"name", unit.name},
                              {"current", current.name},
                              {"description", current.description.value_or("")},
                              {"parameters", make_json(unit, signatures)},
                              {"one_of", choices},
                              {"reads", describe_reads(signatures)},
                              {"writes", describe_writes(signatures)},
                              {"example", make_example(unit, signatures)}});
}

void print_recipe(Session& session, const Unit& unit, Signatures signatures) {
    std::string text = format_recipe_skeleton(unit, signatures);
    text.pop_back(); // the last line end, which comes with a result
    session.console.result(text);
}

} // namespace

void print_unit(Session& session, const Unit& unit) {
    print_unit(session, unit, declare_unit(unit));
}

void add_describe_command(Command program, Session& session) {
    struct Options {
        std::string unit;
        bool json = false;
        bool recipe = false;
    };
    const auto options = std::make_shared<Options>();
    Command command = program.add_subcommand(
        "describe", "A unit's parameters, what it reads and writes, an example to copy");
    command.add_option("UNIT", options->unit, "Its identifier, or what follows the last dot")
        .required();
    Option json = command.add_flag("--json", options->json, "One JSON document");
    command.add_flag("--recipe", options->recipe, "A recipe of one step, to be filled in")
        .excludes(json);
    add_examples(command, {{"What the unit takes", "talvora-host describe apply-set-fill-gap"},
                           {"A recipe to begin with",
                            "talvora-host describe apply-set-butterworth --recipe"}});
    command.on_run([&session, options] {
        const Unit& unit = session.find_unit(options->unit);
        const std::vector<ParameterSignature> signatures = declare_unit(unit);
        if (options->recipe) {
            return print_recipe(session, unit, signatures);
        }
        if (options->json) {
            return print_json(session, unit, signatures);
        }
        print_unit(session, unit, signatures);
    });
}

} // namespace talvora::host

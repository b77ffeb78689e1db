// talvora-host describe UNIT [--json|--recipe]
#include "host/cli/commands.h"
#include "host/cli/files.h"
#include "host/cli/help_layout.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"
#include "host/recipes/recipe_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;
using Signatures = std::span<const ParameterSignature>;

bool declares(Signatures signatures, std::string_view key) {
    return std::ranges::find(signatures, key, &ParameterSignature::key) != signatures.end();
}

// ---------------------------------------------------------------------------
// What a unit reads and writes shows in the names of its parameters: a destination
// keeps the sources as they are, without one they are rewritten in place.

std::string tell_reads(Signatures signatures) {
    std::string text = "data sets";
    if (declares(signatures, "SourceSets")) {
        text += " named by SourceSets or";
    }
    if (declares(signatures, "SourceGroup")) {
        text += " in the group SourceGroup";
    }
    if (declares(signatures, "ScanRecursive")) {
        text += " (with ScanRecursive=true, below it too)";
    }
    return text + ", and their attributes";
}

std::string tell_writes(Signatures signatures) {
    for (const std::string_view key : {"DestinationGroup", "DestinationSet"}) {
        if (declares(signatures, key)) {
            return fmt::format("{}, made when missing; the sources stay as they are", key);
        }
    }
    return "the same data sets, in place";
}

// ---------------------------------------------------------------------------

std::string example_value(const ParameterSignature& parameter) {
    switch (parameter.type) {
    case ParameterType::Boolean:
        return "true";
    case ParameterType::Integer:
    case ParameterType::IntegerList:
        return "2";
    case ParameterType::Number:
        return "10";
    case ParameterType::String:
    case ParameterType::StringList:
        break;
    }
    return parameter.key.starts_with("Source") ? "Signals" : "Results";
}

// What a unit asks for beyond its required parameters, one out of several, which no
// signature tells.
constexpr std::pair<std::string_view, std::string_view> CHOICES[] = {
    {"set-downsample", " HintGroup=Reference"},
    {"set-fill-gap", " MaxGapLength=10"},
};

std::string_view find_choice(const Unit& unit) {
    for (const auto& [ending, parameters] : CHOICES) {
        if (unit.name.ends_with(ending)) {
            return parameters;
        }
    }
    return {};
}

// Required parameters, and a source where none is required.
std::string make_example(const Unit& unit, Signatures signatures) {
    std::string text = fmt::format("talvora-host run {}", short_name(unit));
    for (const ParameterSignature& parameter : signatures) {
        if (parameter.required || parameter.key == "SourceGroup") {
            text += fmt::format(" {}={}", parameter.key, example_value(parameter));
        }
    }
    return fmt::format("{}{} in.h5 -o out.h5", text, find_choice(unit));
}

std::string tell_value(const ParameterSignature& parameter) {
    if (parameter.required) {
        return "required";
    }
    return parameter.default_value ? "default " + format_value(*parameter.default_value)
                                   : "optional";
}

void print_text(Session& session, const Unit& unit, Signatures signatures) {
    const Console& console = session.console;
    const Unit* current = find_current_unit(session.plugin(), unit);
    console.result(fmt::format("{} {} ({}, {})", unit.name,
                               unit.version.value_or(unit.date.value_or("")), unit.category,
                               unit.vendor));
    console.result(current != nullptr ? "Legacy identifier of " + current->name
                                      : unit.description.value_or(""));
    console.result("\nParameters");
    std::vector<std::vector<std::string>> rows;
    for (const ParameterSignature& parameter : signatures) {
        rows.push_back(
            {"  " + parameter.key, std::string(type_name(parameter.type)), tell_value(parameter)});
    }
    for (const std::string& line : align_columns(rows, {false, false, false})) {
        console.result(line);
    }
    console.result("  (a list is given by repeating its key)");
    console.result(fmt::format("\nReads    {}", tell_reads(signatures)));
    console.result(fmt::format("Writes   {}", tell_writes(signatures)));
    console.result(fmt::format("Example  {}", make_example(unit, signatures)));
}

struct DefaultJson {
    template <typename Value>
    Json operator()(const Value& value) const {
        return value;
    }
};

void print_json(Session& session, const Unit& unit, Signatures signatures) {
    const Unit* current = find_current_unit(session.plugin(), unit);
    Json parameters = Json::array();
    for (const ParameterSignature& parameter : signatures) {
        parameters.push_back({{"key", parameter.key},
                              {"type", type_name(parameter.type)},
                              {"required", parameter.required},
                              {"default", parameter.default_value
                                              ? std::visit(DefaultJson{}, *parameter.default_value)
                                              : Json(nullptr)}});
    }
    session.console.document(
        {{"name", unit.name},
         {"current", current != nullptr ? current->name : unit.name},
         {"description", (current != nullptr ? current : &unit)->description.value_or("")},
         {"parameters", parameters},
         {"reads", tell_reads(signatures)},
         {"writes", tell_writes(signatures)},
         {"example", make_example(unit, signatures)}});
}

void print_recipe(Session& session, const Unit& unit, Signatures signatures) {
    std::string text = write_recipe_skeleton(unit, signatures);
    text.pop_back(); // the last line end, which comes with a result
    session.console.result(text);
}

} // namespace

void add_describe_command(CLI::App& program, Session& session) {
    struct Options {
        std::string unit;
        bool json = false;
        bool recipe = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App* command = program.add_subcommand(
        "describe", "A unit's parameters, what it reads and writes, an example to copy");
    command->add_option("UNIT", options->unit, "Its identifier, or what follows the last dot")
        ->required();
    CLI::Option* json = command->add_flag("--json", options->json, "One JSON document");
    command->add_flag("--recipe", options->recipe, "A recipe of one step, to be filled in")
        ->excludes(json);
    add_examples(*command, {{"What the unit takes", "talvora-host describe apply-set-fill-gap"},
                            {"A recipe to begin with",
                             "talvora-host describe apply-set-butterworth --recipe"}});
    command->callback([&session, options] {
        const Unit& unit = session.find_unit(options->unit);
        const std::vector<ParameterSignature> signatures = declare_unit(unit);
        if (options->recipe) {
            return print_recipe(session, unit, signatures);
        }
        (options->json ? print_json : print_text)(session, unit, signatures);
    });
}

} // namespace talvora::host

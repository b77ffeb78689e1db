// talvora-host describe UNIT [--json|--recipe]
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/filters/known_units.h"
#include "host/interface/parameters.h"
#include "host/interface/unit_run.h"
#include "host/recipes/recipe_writer.h"
#include "host/text/align_columns.h"

#include <fmt/format.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
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

void print_parameters(const Console& console, Signatures signatures) {
    std::vector<std::vector<std::string>> rows;
    for (const ParameterSignature& parameter : signatures) {
        rows.push_back({"  " + parameter.key, std::string(type_name(parameter.type)),
                        describe_default(parameter)});
    }
    console.result("\nParameters");
    for (const std::string& line : align_columns(rows, {false, false, false})) {
        console.result(line);
    }
    console.result("  (a list is given by repeating its key)");
}

void print_text(Session& session, const Unit& unit, Signatures signatures) {
    const Console& console = session.console;
    const Unit* current = find_current_unit(session.plugin(), unit);
    console.result(fmt::format("{} {} ({}, {})", unit.name,
                               unit.version.value_or(unit.date.value_or("")), unit.category,
                               unit.vendor));
    console.result(current != nullptr ? "Legacy identifier of " + current->name
                                      : unit.description.value_or(""));
    print_parameters(console, signatures);
    console.result(fmt::format("\nReads    {}", describe_reads(signatures)));
    console.result(fmt::format("Writes   {}", describe_writes(signatures)));
    console.result(fmt::format("Example  {}", make_example(unit, signatures)));
}

Json make_json(const std::optional<ParameterValue>& value) {
    return value ? std::visit([](const auto& held) { return Json(held); }, *value) : Json(nullptr);
}

Json make_json(const ParameterSignature& parameter) {
    return {{"key", parameter.key},
            {"type", type_name(parameter.type)},
            {"required", parameter.required},
            {"default", make_json(parameter.default_value)}};
}

Json make_json(Signatures signatures) {
    Json list = Json::array();
    for (const ParameterSignature& parameter : signatures) {
        list.push_back(make_json(parameter));
    }
    return list;
}

void print_json(Session& session, const Unit& unit, Signatures signatures) {
    const Unit* found = find_current_unit(session.plugin(), unit);
    const Unit& current = found != nullptr ? *found : unit;
    session.console.document({{"name", unit.name},
                              {"current", current.name},
                              {"description", current.description.value_or("")},
                              {"parameters", make_json(signatures)},
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
        (options->json ? print_json : print_text)(session, unit, signatures);
    });
}

} // namespace talvora::host

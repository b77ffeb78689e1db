// talvora-host design BANDFORM CutoffFrequency=.. Order=.. [BandWidth=..] --rate HZ
// talvora-host design BANDFORM --edge HZ [--edge HZ] --order N --rate HZ
#include "host/cli/commands.h"
#include "host/cli/help_layout.h"
#include "host/cli/printed_files.h"
#include "host/filters/filter_parameters.h"
#include "host/filters/filter_report.h"
#include "host/filters/filter_response.h"
#include "host/filters/filter_trial.h"
#include "host/filters/known_units.h"
#include "host/interface/unit_run.h"
#include "host/pictures/svg_figure.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* HELP_HINT = "talvora-host design --help";

struct DesignOptions {
    std::string bandform;
    std::vector<std::string> words;
    std::vector<double> edges;
    std::optional<std::int64_t> order;
    double rate = 0.0;
    std::string output;
    bool json = false;
    bool force = false;
};

// ---------------------------------------------------------------------------
// The question

void check_question(const DesignOptions& options) {
    const bool by_edges = !options.edges.empty();
    if (by_edges == !options.words.empty()) {
        throw Failure(ExitCode::Usage,
                      by_edges ? "edges and parameters exclude each other"
                               : "what filter? neither parameters nor edges are given",
                      {"talvora-host design BANDFORM CutoffFrequency=HZ Order=N [BandWidth=HZ] "
                       "--rate HZ",
                       "talvora-host design BANDFORM --edge HZ [--edge HZ] --order N --rate HZ"});
    }
    if (by_edges != options.order.has_value()) {
        throw Failure(ExitCode::Usage, by_edges ? "--edge asks for --order N"
                                                : "--order goes with --edge; else give Order=N");
    }
}

void check_output(const std::string& output) {
    if (!output.empty() && !output.ends_with(".svg")) {
        throw Failure(ExitCode::Usage,
                      fmt::format("-o {}: the picture is SVG: name it .svg", output));
    }
}

// ---------------------------------------------------------------------------
// The filter that is asked for

float read_rate(double rate) {
    const auto narrowed = std::abs(rate) <= static_cast<double>(std::numeric_limits<float>::max())
                              ? static_cast<float>(rate)
                              : 0.0F;
    if (!(narrowed > 0.0F)) {
        throw Failure(ExitCode::Usage, fmt::format("--rate {}: a rate is above 0, in Hz", rate));
    }
    return narrowed;
}

std::vector<ParameterSignature> select_filter_signatures(const Unit& unit) {
    std::vector<ParameterSignature> signatures = declare_unit(unit);
    std::erase_if(signatures, [](const ParameterSignature& signature) {
        return std::ranges::find(FILTER_KEYS, signature.key) == FILTER_KEYS.end();
    });
    return signatures;
}

Failure join(const ParameterError& error) {
    std::vector<std::string> texts;
    std::vector<std::string> hints;
    for (const ParameterProblem& problem : error.problems()) {
        texts.push_back(problem.text);
        if (!problem.hint.empty()) {
            hints.push_back(problem.hint);
        }
    }
    hints.push_back(HELP_HINT);
    return {ExitCode::Usage, fmt::format("{}", fmt::join(texts, "; ")), hints};
}

void check_words(const std::vector<std::string>& words) {
    for (const std::string& word : words) {
        if (!is_parameter_word(word)) {
            throw Failure(ExitCode::Usage, fmt::format("'{}' is no parameter", word), {HELP_HINT});
        }
    }
}

ParameterValues read_words(const Unit& unit, const DesignOptions& options) {
    std::vector<std::string> words = options.words;
    words.push_back(fmt::format("{}={}", BANDFORM_KEY, options.bandform));
    try {
        return read_parameters(select_filter_signatures(unit), words);
    } catch (const ParameterError& error) {
        throw join(error);
    }
}

ButterworthParameters read_parameters_of_unit(Session& session, const DesignOptions& options,
                                              float rate) {
    check_words(options.words);
    const Unit& unit = session.find_unit(FILTER_UNIT);
    const ParameterValues values = read_words(unit, options);
    if (const auto refusal = find_refusal(unit, values, rate)) {
        throw Failure(ExitCode::Usage, fmt::format("{}: {}", FILTER_UNIT, *refusal), {HELP_HINT});
    }
    const auto parameters = read_filter(values);
    if (!parameters) {
        throw Failure(ExitCode::Plugin,
                      fmt::format("{}: declares other parameters than a Butterworth filter has",
                                  FILTER_UNIT));
    }
    return *parameters;
}

// What is asked for, and what its user is to know. A filter for chosen edges is what it
// is asked to be, whatever its parameters suggest.
struct Answer {
    FilterFacts facts;
    std::vector<FilterWarning> warnings;
};

Answer find_answer(Session& session, const DesignOptions& options) {
    const float rate = read_rate(options.rate);
    const Bandform bandform = find_bandform(options.bandform);
    if (!options.edges.empty()) {
        return {choose_filter(bandform, *options.order, options.edges, rate), {}};
    }
    const FilterFacts facts = find_facts(read_parameters_of_unit(session, options, rate), rate);
    return {facts, find_warnings(facts)};
}

// ---------------------------------------------------------------------------
// Output

void write_picture(const Console& console, const DesignOptions& options, const FilterFacts& facts) {
    if (facts.state != FilterState::Useful) {
        throw Failure(ExitCode::Usage,
                      fmt::format("no picture: the filter is {}", describe_state(facts.state)));
    }
    write_text_file(console, options.output, {.replace = options.force},
                    [&](const TextSink& send) { send(draw_figure(make_response_figure(facts))); });
}

void print_response(const std::vector<ResponseRow>& response, const Console& console) {
    console.result("");
    for (const std::string& line : describe_response(response)) {
        console.result(line);
    }
}

void print_text(const FilterFacts& facts, const Console& console) {
    const auto& [b, a] = facts.design.coefficients;
    console.result(format_parameters(facts.design.parameters));
    console.result(summarise(facts));
    console.result(fmt::format("\nb  {}\na  {}", fmt::join(b, "  "), fmt::join(a, "  ")));
    if (const auto response = tabulate_response(facts); !response.empty()) {
        print_response(response, console);
    }
}

Json make_parameters_json(const ButterworthParameters& parameters) {
    return {{BANDFORM_KEY, bandform_name(parameters.bandform)},
            {CUTOFF_KEY, parameters.cutoff},
            {ORDER_KEY, parameters.order},
            {BANDWIDTH_KEY, parameters.bandwidth}};
}

Json make_document(const Answer& answer) {
    const FilterDesign& design = answer.facts.design;
    Json json = {{"parameters", make_parameters_json(design.parameters)}};
    json.update(make_json(answer.facts));
    json["coefficients"] = {{"b", design.coefficients.b}, {"a", design.coefficients.a}};
    json["response"] = make_json(tabulate_response(answer.facts));
    json["warnings"] = Json::array();
    for (const FilterWarning& warning : answer.warnings) {
        json["warnings"].push_back(warning.text);
    }
    return json;
}

void print_warnings(const std::vector<FilterWarning>& warnings, const Console& console) {
    for (const FilterWarning& warning : warnings) {
        console.warning(warning.text);
        if (!warning.choice.empty()) {
            console.hint(warning.choice);
        }
    }
}

void print_design(Session& session, const DesignOptions& options) {
    check_question(options);
    check_output(options.output);
    const Answer answer = find_answer(session, options);
    if (!options.output.empty()) {
        write_picture(session.console, options, answer.facts);
    }
    print_warnings(answer.warnings, session.console);
    if (options.json) {
        session.console.document(make_document(answer));
    } else {
        print_text(answer.facts, session.console);
    }
}

void add_question(Command command, DesignOptions& options) {
    command
        .add_option("BANDFORM", options.bandform,
                    "ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass or ZeroLagBandStop")
        .required();
    command.add_option("WORDS", options.words,
                       "CutoffFrequency=HZ Order=N [BandWidth=HZ], as for the unit");
    command
        .add_option("--edge", options.edges,
                    "Instead: where both passes together are to be 3 dB down, in Hz; twice for "
                    "a band")
        .value_name("HZ")
        .repeatable();
    command.add_option("--order", options.order, "With --edge: the order over both passes")
        .value_name("N");
    command.add_option("--rate", options.rate, "Samples per second").value_name("HZ").required();
}

void add_output(Command command, DesignOptions& options) {
    command.add_option("-o,--output", options.output, "Draw the response to a file NAME.svg")
        .value_name("FILE")
        .path();
    command.add_flag("--json", options.json, "One JSON document");
    command.add_flag("--force", options.force, "Replace an existing picture");
}

} // namespace

void add_design_command(Command program, Session& session) {
    const auto options = std::make_shared<DesignOptions>();
    Command command = program.add_subcommand(
        "design", "What a Butterworth filter really does, and the parameters for wanted edges");
    add_question(command, *options);
    add_output(command, *options);
    add_examples(command,
                 {{"What the unit does with these parameters at 100 Hz",
                   "talvora-host design ZeroLagLowPass CutoffFrequency=5 Order=4 --rate 100"},
                  {"The parameters for a band that is 3 dB down at 1 and 20 Hz",
                   "talvora-host design ZeroLagBandPass --edge 1 --edge 20 --order 4 --rate 100"}});
    command.on_run([&session, options] { print_design(session, *options); });
}

} // namespace talvora::host

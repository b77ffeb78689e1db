// talvora-host design BANDFORM CutoffFrequency=.. Order=.. [BandWidth=..] --rate HZ
// talvora-host design BANDFORM --edge HZ [--edge HZ] --order N --rate HZ
#include "host/cli/commands.h"
#include "host/cli/filter_report.h"
#include "host/cli/help_layout.h"
#include "host/filters/filter_response.h"
#include "host/interface/unit_run.h"
#include "host/pictures/svg_figure.h"
#include "host/system/safe_write.h"
#include "host/tree/memory_tree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* UNIT_NAME = "apply-set-butterworth";
// The parameters of the unit that make the filter; the others choose data.
constexpr std::string_view FILTER_KEYS[] = {"CutoffFrequency", "Order", "Bandform", "BandWidth"};

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
        return std::ranges::find(FILTER_KEYS, signature.key) == std::end(FILTER_KEYS);
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
    hints.push_back("talvora-host design --help");
    return {ExitCode::Usage, fmt::format("{}", fmt::join(texts, "; ")), hints};
}

// Whatever the unit refuses: it is run on a set of one sample.
void check_with_unit(const Unit& unit, const ParameterValues& values, float rate) {
    MemoryTree tree;
    const ObjectId set = tree.create_dataset(tree.root(), "Trial", {1});
    tree.write_attribute(set, "SampleRate", rate);
    ParameterValues::Given given = {{"SourceSets", std::vector<std::string>{"Trial"}}};
    for (const std::string_view key : FILTER_KEYS) {
        if (const ParameterValue* value = values.find(key)) {
            given.emplace(key, *value);
        }
    }
    std::string refusal = "refused by the unit";
    const UnitOutcome outcome = run_unit(unit, tree, {declare_unit(unit), given},
                                         [&](const Message& message) { refusal = message.text; });
    if (!outcome.is_good()) {
        throw Failure(ExitCode::Usage, fmt::format("{}: {}", UNIT_NAME, refusal),
                      {"talvora-host design --help"});
    }
}

template <typename Value>
Value get(const ParameterValues& values, std::string_view key) {
    return std::get<Value>(*values.find(key));
}

ButterworthParameters read_filter(Session& session, const DesignOptions& options, Bandform bandform,
                                  float rate) {
    std::vector<std::string> words = options.words;
    for (const std::string& word : words) {
        if (!is_parameter_word(word)) {
            throw Failure(ExitCode::Usage, fmt::format("'{}' is no parameter", word),
                          {"talvora-host design --help"});
        }
    }
    words.push_back("Bandform=" + options.bandform);
    const Unit& unit = session.find_unit(UNIT_NAME);
    try {
        const ParameterValues values = read_parameters(select_filter_signatures(unit), words);
        check_with_unit(unit, values, rate);
        // Of the order the unit takes the low 32 bits.
        return {get<double>(values, "CutoffFrequency"),
                static_cast<std::int32_t>(get<std::int64_t>(values, "Order")),
                get<double>(values, "BandWidth"), bandform};
    } catch (const ParameterError& error) {
        throw join(error);
    }
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
    const FilterFacts facts = find_facts(read_filter(session, options, bandform, rate), rate);
    return {facts, find_warnings(facts)};
}

void check_options(const DesignOptions& options) {
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
    if (!options.output.empty() && !options.output.ends_with(".svg")) {
        throw Failure(ExitCode::Usage,
                      fmt::format("-o {}: the picture is SVG: name it .svg", options.output));
    }
}

// ---------------------------------------------------------------------------
// Output

void write_picture(const DesignOptions& options, const FilterFacts& facts) {
    if (facts.state != FilterState::Useful) {
        throw Failure(ExitCode::Usage,
                      fmt::format("no picture: the filter is {}", tell_state(facts.state)));
    }
    PendingFile pending(options.output, {.replace = options.force});
    std::ofstream file(pending.path(), std::ios::binary);
    file << draw_figure(draw_response(facts));
    file.close();
    if (!file) {
        throw Failure(ExitCode::Output, fmt::format("{}: cannot be written", options.output));
    }
    pending.publish();
}

// Below it nothing is left but the rounding of the coefficients.
constexpr double LOWEST_DECIBELS = -200.0;

std::string write_decibels(double decibels) {
    if (decibels < LOWEST_DECIBELS) {
        return fmt::format("below {}", LOWEST_DECIBELS);
    }
    const std::string text = fmt::format("{:.2f}", decibels);
    return text == "-0.00" ? "0.00" : text;
}

void print_response(const std::vector<ResponseRow>& response, const Console& console) {
    std::vector<std::vector<std::string>> rows = {{"frequency (Hz)", "gain", "dB"}};
    for (const ResponseRow& row : response) {
        rows.push_back({fmt::format("{:.6g}", row.frequency), fmt::format("{:.6f}", row.gain),
                        write_decibels(row.decibels)});
    }
    console.result("");
    for (const std::string& line : align_columns(rows, {true, true, true})) {
        console.result(line);
    }
}

void print_text(const FilterFacts& facts, const Console& console) {
    const auto& [b, a] = facts.design.coefficients;
    console.result(write_parameters(facts.design.parameters));
    console.result(summarize(facts));
    console.result(fmt::format("\nb  {}\na  {}", fmt::join(b, "  "), fmt::join(a, "  ")));
    if (const auto response = tabulate_response(facts); !response.empty()) {
        print_response(response, console);
    }
}

Json make_document(const Answer& answer) {
    const FilterDesign& design = answer.facts.design;
    Json json = {{"parameters",
                  {{"Bandform", bandform_name(design.parameters.bandform)},
                   {"CutoffFrequency", design.parameters.cutoff},
                   {"Order", design.parameters.order},
                   {"BandWidth", design.parameters.bandwidth}}}};
    json.update(make_json(answer.facts));
    json["coefficients"] = {{"b", design.coefficients.b}, {"a", design.coefficients.a}};
    json["response"] = Json::array();
    for (const ResponseRow& row : tabulate_response(answer.facts)) {
        json["response"].push_back(
            {{"frequency", row.frequency}, {"gain", row.gain}, {"decibels", row.decibels}});
    }
    json["warnings"] = Json::array();
    for (const FilterWarning& warning : answer.warnings) {
        json["warnings"].push_back(warning.text);
    }
    return json;
}

void tell_design(Session& session, const DesignOptions& options) {
    check_options(options);
    const Answer answer = find_answer(session, options);
    if (!options.output.empty()) {
        write_picture(options, answer.facts);
    }
    for (const FilterWarning& warning : answer.warnings) {
        session.console.warning(warning.text);
        if (!warning.choice.empty()) {
            session.console.hint(warning.choice);
        }
    }
    if (options.json) {
        session.console.document(make_document(answer));
    } else {
        print_text(answer.facts, session.console);
    }
}

} // namespace

void add_design_command(CLI::App& program, Session& session) {
    const auto options = std::make_shared<DesignOptions>();
    CLI::App* command = program.add_subcommand(
        "design", "What a Butterworth filter really does, and the parameters for wanted edges");
    command
        ->add_option("BANDFORM", options->bandform,
                     "ZeroLagLowPass, ZeroLagHighPass, ZeroLagBandPass or ZeroLagBandStop")
        ->required();
    command->add_option("WORDS", options->words,
                        "CutoffFrequency=HZ Order=N [BandWidth=HZ], as for the unit");
    command
        ->add_option("--edge", options->edges,
                     "Instead: where both passes together are to be 3 dB down, in Hz; twice for "
                     "a band")
        ->option_text("HZ")
        ->expected(1)
        ->take_all();
    command->add_option("--order", options->order, "With --edge: the order over both passes")
        ->option_text("N");
    command->add_option("--rate", options->rate, "Samples per second")
        ->option_text("HZ")
        ->required();
    command->add_option("-o,--output", options->output, "Draw the response to a file NAME.svg")
        ->option_text("FILE");
    command->add_flag("--json", options->json, "One JSON document");
    command->add_flag("--force", options->force, "Replace an existing picture");
    add_examples(*command,
                 {{"What the unit does with these parameters at 100 Hz",
                   "talvora-host design ZeroLagLowPass CutoffFrequency=5 Order=4 --rate 100"},
                  {"The parameters for a band that is 3 dB down at 1 and 20 Hz",
                   "talvora-host design ZeroLagBandPass --edge 1 --edge 20 --order 4 --rate 100"}});
    command->callback([&session, options] { tell_design(session, *options); });
}

} // namespace talvora::host

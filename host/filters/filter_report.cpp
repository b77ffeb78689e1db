#include "host/filters/filter_report.h"

#include "host/text/align_columns.h"
#include "host/text/shortest_double.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

constexpr double LOWEST_DECIBELS = -200.0;

std::string name_decibels(double decibels) {
    if (decibels < LOWEST_DECIBELS) {
        return fmt::format("below {}", LOWEST_DECIBELS);
    }
    const std::string text = fmt::format("{:.2f}", decibels);
    return text == "-0.00" ? "0.00" : text;
}

} // namespace

std::string summarise(const FilterFacts& facts) {
    const FilterDesign& design = facts.design;
    if (facts.state != FilterState::Useful) {
        return fmt::format("at {} Hz {}", name_rate(design), describe_state(facts.state));
    }
    return fmt::format("at {} Hz 3 dB down at {} after both passes, each of order {} with its "
                       "edge{} at {}",
                       name_rate(design), name_edges(facts.three_db_points), design.pass_order,
                       design.corrected_edges.size() == 1 ? "" : "s",
                       name_edges(design.corrected_edges));
}

nlohmann::ordered_json make_json(const FilterFacts& facts) {
    const FilterDesign& design = facts.design;
    return {{"sample_rate", shortest_double(static_cast<float>(design.sample_rate))},
            {"pass_order", design.pass_order},
            {"corrected_edges", design.corrected_edges},
            {"suggested_edges", design.suggested_edges},
            {"three_db_points", facts.three_db_points},
            {"usable", facts.state == FilterState::Useful},
            {"summary", summarise(facts)}};
}

nlohmann::ordered_json make_json(std::span<const FilterFacts> filters) {
    auto list = nlohmann::ordered_json::array();
    for (const FilterFacts& facts : filters) {
        list.push_back(make_json(facts));
    }
    return list;
}

std::vector<std::string> describe_response(std::span<const ResponseRow> response) {
    std::vector<std::vector<std::string>> rows = {{"frequency (Hz)", "gain", "dB"}};
    for (const ResponseRow& row : response) {
        rows.push_back({fmt::format("{:.6g}", row.frequency), fmt::format("{:.6f}", row.gain),
                        name_decibels(row.decibels)});
    }
    return align_columns(rows, {true, true, true});
}

nlohmann::ordered_json make_json(std::span<const ResponseRow> response) {
    auto list = nlohmann::ordered_json::array();
    for (const ResponseRow& row : response) {
        list.push_back(
            {{"frequency", row.frequency}, {"gain", row.gain}, {"decibels", row.decibels}});
    }
    return list;
}

} // namespace talvora::host

#include "host/cli/filter_report.h"

#include "host/cli/console.h"
#include "host/text/shortest_double.h"

#include <fmt/format.h>

namespace talvora::host {

std::string summarize(const FilterFacts& facts) {
    const FilterDesign& design = facts.design;
    if (facts.state != FilterState::Useful) {
        return fmt::format("at {} Hz {}", name_rate(design), tell_state(facts.state));
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
            {"summary", summarize(facts)}};
}

nlohmann::ordered_json make_json(std::span<const FilterFacts> filters) {
    auto list = nlohmann::ordered_json::array();
    for (const FilterFacts& facts : filters) {
        list.push_back(make_json(facts));
    }
    return list;
}

} // namespace talvora::host

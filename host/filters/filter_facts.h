// What a Butterworth filter really does, for its user: where both passes together are
// 3 dB down, whether it is of any use, and in which way it is not what its parameters
// suggest.
#pragma once

#include "host/filters/filter_design.h"

#include <string>
#include <vector>

namespace talvora::host {

enum class FilterState {
    Useful,
    Neutral,   // of order 0 or 1: changes no value
    Unstable,  // grows without bound on a long run
    NotFinite, // coefficients that are NaN or infinite
};

struct FilterFacts {
    FilterDesign design;
    FilterState state = FilterState::Useful;
    // Hz, ascending: where the gain of both passes crosses 1/sqrt(2), found in the
    // response of the coefficients from a millionth of the rate to as near to half of
    // it. Of a useful filter alone; there may be none, or more than its form has edges.
    std::vector<double> three_db_points;
    std::vector<std::string> sets = {}; // paths of the data sets that it is made for, if any
};

FilterState judge(const FilterDesign& design);
// A few milliseconds.
FilterFacts find_facts(const ButterworthParameters& parameters, float sample_rate);

// What the user is to know before a run: one sentence, complete in itself.
struct FilterWarning {
    std::string text;
    std::string choice = {}; // the command that gives the filter with the suggested edges,
                             // where that is the remedy
};

// A fault (filter_fault.h); else a gain that is off (find_inaccuracy), and 3 dB points that are not
// within 5 % of the edges that the parameters suggest.
std::vector<FilterWarning> find_warnings(const FilterFacts& facts);

// Edges, in Hz, as a sentence names them: "40 and 60 Hz", or "no frequency".
std::string name_edges(const std::vector<double>& edges);
// The command that tells of this filter.
std::string make_design_command(const FilterDesign& design);
// A rate that was widened from a float, with the digits that it was given with.
std::string name_rate(const FilterDesign& design);

// What a filter is good for, in a sentence's part: "unstable: ..."; empty for a useful one.
std::string_view describe_state(FilterState state);

// What is wrong with the edges, in Hz, of a filter of this order at any rate: they are as many as
// the form has, finite, ascending and above 0, and the order is 2 or more. Empty where nothing is.
std::string find_edge_problem(Bandform bandform, std::int64_t order,
                              const std::vector<double>& edges);

// The filter with 3 dB points at the edges, its response checked. Throws a Failure of
// usage when there is none: as many edges as the form has, ascending between 0 and half
// the rate, an order of 2 and more, a finite rate above 0; and when double precision is
// not enough for so low an edge at so high an order.
FilterFacts choose_filter(Bandform bandform, std::int64_t order, const std::vector<double>& edges,
                          float sample_rate);

} // namespace talvora::host

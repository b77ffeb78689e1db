// Filters that are not to be used: of no use at all, or another one than their parameters name.
#pragma once

#include "host/filters/filter_design.h"
#include "host/filters/known_units.h"

#include <optional>
#include <string>
#include <string_view>

namespace talvora::host {

struct FilterFault {
    std::string text;   // a sentence without the rate
    std::string remedy; // which parameters do at this rate, in a sentence's part
};

// What a sentence calls the parameters; those of the unit, unless others are given.
struct FilterWords {
    std::string_view cutoff = CUTOFF_KEY;
    std::string_view bandwidth = BANDWIDTH_KEY;
    std::string_view order = ORDER_KEY;
    // What becomes of edges that are out of range.
    std::string_view out_of_range = "; the unit takes it as it comes";
};

// An edge that is not below half the rate or not above 0, the correction for two passes
// included; coefficients that are NaN or infinite, an unstable filter, one that changes no value;
// gains that are not those of the form, because the coefficients have not the digits for the order.
// The first of these alone: the others follow from it. Nothing for a filter that does what its
// parameters name.
std::optional<FilterFault> find_fault(const FilterDesign& design, const FilterWords& words = {});

// Of a filter without a fault: a gain that is more than a thousandth from that of its form. A
// sentence without the rate.
std::optional<std::string> find_inaccuracy(const FilterDesign& design);

} // namespace talvora::host

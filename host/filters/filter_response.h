// The response of a filter, as a table and as a picture.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/pictures/svg_figure.h"

#include <vector>

namespace talvora::host {

struct ResponseRow {
    double frequency = 0.0; // Hz
    double gain = 0.0;      // of both passes together
    double decibels = 0.0;  // negative infinity where no gain is left
};

// At the 3 dB points, at 1, 2 and 5 times the powers of ten from a decade below the
// lowest of them on, and at half the rate; ascending. Nothing for a filter of no use.
std::vector<ResponseRow> tabulate_response(const FilterFacts& facts);

// Of a useful filter: the gain in dB over a logarithmic frequency, guides at the 3 dB
// points.
Figure make_response_figure(const FilterFacts& facts);

} // namespace talvora::host

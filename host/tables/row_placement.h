// Rows on the grid under their times (time_grid.h), held to what makes a recording, with what
// people should know of it.
#pragma once

#include "host/tables/time_grid.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct PlacedRows {
    TimeGrid grid;
    std::vector<std::string> infos;
    std::vector<std::string> warnings;
};

// `times` in seconds, which messages name so. Throws a Failure of the input, `source` in front, as
// place_on_grid does, and where rows that are placed by steps stand more than half a sample from
// their times, or more than one in a hundred of them is left out.
PlacedRows place_rows(std::span<const double> times, const std::string& times_name,
                      const GridChoice& choice, const std::string& source);

// How many seconds the rows take by their times, where that contradicts a rate at which they are
// told to be equally spaced: by more than a thousandth and a sample. Nothing where it does not, or
// where times do not ascend.
std::optional<double> find_contradicting_span(std::span<const double> times, double sample_rate);

// Throws a Failure of usage for a rate, or a gap between rows, that cannot be.
void refuse_bad_grid(const GridChoice& choice);

} // namespace talvora::host

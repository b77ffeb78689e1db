// Rows on the grid under their times (time_grid.h), held to what makes a recording, with what
// people should know of it.
#pragma once

#include "host/tables/time_grid.h"

#include <cstddef>
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
// their times, more than one in a hundred of them is left out, or more than a few gaps between them
// may be the rounding of times at another rate (time_ticks.h).
PlacedRows place_rows(std::span<const double> times, const std::string& times_name,
                      const GridChoice& choice, const std::string& source);

// What times say of rows that are told to be equally spaced at a rate, where it contradicts that:
// "by it the 500 rows take 1.996 s (250 Hz), not 4.99 s", by more than RATE_TOLERANCE and a sample,
// that rows are missing between them, of which the times stand on a grid and which the rounding of
// times does not explain, or that the times do not ascend. Nothing where they do not contradict it.
std::optional<std::string> find_contradiction(std::span<const double> times, double sample_rate,
                                              std::size_t first_row);

// Throws a Failure of usage for a rate, or a gap between rows, that cannot be.
void refuse_bad_grid(const GridChoice& choice);

} // namespace talvora::host

// Samples on a grid (time_grid.h), from the values of rows: a line as a whole, or part by part
// where it is longer than memory is to hold.
#pragma once

#include "host/tables/time_grid.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace talvora::host {

// Rows that are read at once, and the samples that they go to, or lie around.
struct GridPart {
    std::size_t first_row = 0;
    std::size_t row_count = 0;
    std::uint64_t first_sample = 0;
    std::uint64_t sample_count = 0;
};

// The samples of a part from the values of its rows: rows that the grid leaves out are passed over,
// samples without a row stay as they are. For float and double, each value rounded once.
template <typename Sample>
void place_rows_of_part(const TimeGrid& grid, const GridPart& part, std::span<const double> values,
                        std::span<Sample> samples);

// The same for samples between rows; those between rows too far apart become NaN.
template <typename Sample>
void interpolate_part(const TimeGrid& grid, const GridPart& part, std::span<const double> values,
                      std::span<Sample> samples);

// Goes through the samples of a grid from the first on and says which rows they are made of.
class GridWalk {
  public:
    // Borrows the grid.
    GridWalk(const TimeGrid& grid, std::size_t max_rows) : grid_(grid), max_rows_(max_rows) {}

    // The parts that the next samples are made of, each of at most `max_rows` rows (of two at
    // least); all of them lie in those samples, and none where no row goes there.
    std::vector<GridPart> next(std::uint64_t sample_count);

  private:
    std::vector<GridPart> next_placed(std::uint64_t end);
    std::vector<GridPart> next_between(std::uint64_t end);

    const TimeGrid& grid_;
    std::size_t max_rows_;
    std::size_t row_ = 0;
    std::uint64_t sample_ = 0;
};

} // namespace talvora::host

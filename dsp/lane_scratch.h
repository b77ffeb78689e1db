// The memory that passes over lanes share, and what they call between their parts.
#pragma once

#include "dsp/lane_kernels.h"
#include "dsp/pauses.h"

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

namespace talvora::dsp {

// Rows of doubles that begin on a cache line, also where none are asked for; what they hold after
// growing is undefined.
class RowBuffer {
  public:
    double* reserve(std::size_t count);

  private:
    struct alignas(64) CacheLine {
        double values[8];
    };
    std::unique_ptr<CacheLine[]> lines_;
    std::size_t line_count_ = 0;
};

// Rows over which a lane at rest is watched, in whole tiles: cycles of 2, 3, 4, 6, 8, 12, 16 and 24
// rows fit a whole number of times.
inline constexpr std::size_t REST_ROWS = 3 * TILE_ROWS;

// So many rows of one lane.
using LaneRows = std::array<double, REST_ROWS>;

// What a lane did over so many rows that left its state as it was. From that state the same input
// has the same output, whenever it comes.
struct LaneRest {
    bool is_known = false;
    bool has_output = false;
    std::vector<double> state;
    LaneRows input;
    LaneRows output;
};

// Of one pass, forward or backward.
struct PassScratch {
    std::vector<double> state;
    std::vector<double> state_before;
    std::array<LaneRest, MAX_LANE_COUNT> rests;
};

// Made once and used for any number of runs and filters. Rows grow to 4 MiB, whatever the length
// of the runs; the states kept along long runs come to less than a thousandth of the samples' own
// size for each tap.
struct LaneScratch {
    RowBuffer rows;
    RowBuffer padding;
    PassScratch forward;
    PassScratch backward;
    std::vector<double> states;
    std::vector<double> ends;
    std::vector<double> turns;
    std::vector<double> lane_state;
    Pauses pauses;
};

// Whether runs have been searched for missing samples, which takes up to a tenth of the time of
// filtering. The recurrence never loses a NaN that it has met, so the states after the forward
// pass, before which nothing is written, tell as well.
enum class Searched { Yes, No };

} // namespace talvora::dsp

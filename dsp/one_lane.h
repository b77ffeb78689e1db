// One lane by itself, for what must be done in order.
#pragma once

#include "dsp/lane_scratch.h"
#include "dsp/zero_phase_filter.h"

#include <span>
#include <vector>

namespace talvora::dsp {

// Filters in the plain loop's order. Silence costs no arithmetic (see tile_pass.h).
class OneLane {
  public:
    // Borrows the filter. The state is undefined.
    explicit OneLane(const PreparedFilter& filter)
        : filter_(filter), state_(filter.steady_state.size()) {}

    std::span<double> state() { return state_; }
    void put_to_rest(double input);
    bool has_met_missing() const;
    bool has_state(std::span<const double> state) const;

    // False when what the rows come to was known.
    bool filter_rows(const LaneRows& input, LaneRows& output);
    // Any number of samples, in place.
    void filter(std::span<double> samples);

  private:
    const PreparedFilter& filter_;
    std::vector<double> state_;
    LaneRest rest_;
};

} // namespace talvora::dsp

// One lane by itself, for what must be done in order.
#pragma once

#include "dsp/lane_scratch.h"
#include "dsp/zero_phase_filter.h"

#include <cstddef>
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

    // REST_ROWS samples, floats or doubles, of which the state alone is wanted. False when it was
    // known.
    template <class Sample>
    bool filter_forward(const Sample* samples);
    // REST_ROWS rows from the last one back, each `row_step` before the one after it, to as many
    // samples. False when they were known.
    template <class Sample>
    bool filter_backward(const double* last_row, std::ptrdiff_t row_step, Sample* samples);
    // Any number of samples, in place.
    void filter(std::span<double> samples);

  private:
    template <class Rows>
    bool filter_rows(const Rows& rows);
    template <class Rows>
    bool repeats(const Rows& rows) const;
    template <class Rows>
    void remember_rest(const Rows& rows);

    const PreparedFilter& filter_;
    std::vector<double> state_;
    LaneRest rest_;
};

} // namespace talvora::dsp

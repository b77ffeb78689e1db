#include "dsp/lane_pass.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace talvora::dsp {

double* RowBuffer::reserve(std::size_t count) {
    constexpr std::size_t PER_LINE = sizeof(CacheLine) / sizeof(double);
    const std::size_t line_count = (count + PER_LINE - 1) / PER_LINE;
    if (line_count > line_count_) {
        lines_.reset();
        line_count_ = 0;
        lines_ = std::make_unique_for_overwrite<CacheLine[]>(line_count);
        line_count_ = line_count;
    }
    return lines_[0].values;
}

void UpcomingSamples::prefetch(std::size_t count) {
    constexpr std::size_t SAMPLES_PER_CACHE_LINE = 16;
    for (std::size_t asked = 0; asked < count && !lines_.empty();) {
        const std::span<const float> line = lines_.front();
        const std::size_t last = std::min(position_ + count - asked, line.size());
        asked += last - position_;
        for (; position_ < last; position_ += SAMPLES_PER_CACHE_LINE) {
            __builtin_prefetch(&line[position_], 0, 2); // into the second level
        }
        if (last == line.size()) {
            lines_ = lines_.subspan(1);
            position_ = 0;
        }
    }
}

LanePass::LanePass(const PreparedFilter& filter, const LaneKernels& kernels, std::size_t lane_count)
    : filter_(filter), kernels_(kernels), lane_count_(lane_count),
      state_(filter.steady_state.size() * lane_count), state_before_(state_) {}

void LanePass::set_state(std::span<const double> state) {
    std::ranges::copy(state, state_.begin());
    start_over();
}

void LanePass::put_to_rest(std::size_t lane, double input) {
    start_over();
    for (std::size_t i = 0; i < filter_.steady_state.size(); ++i) {
        state_[i * lane_count_ + lane] = filter_.steady_state[i] * input;
    }
}

void LanePass::filter(const double* in, double* out, std::ptrdiff_t row_count,
                      std::ptrdiff_t row_step) {
    std::ranges::copy(state_, state_before_.begin());
    last_row_count_ = row_count;
    kernels_.filter_rows({.b = filter_.b.data(),
                          .a = filter_.a.data(),
                          .tap_count = filter_.tap_count(),
                          .lane_count = lane_count_,
                          .state = state_.data(),
                          .in = in,
                          .out = out,
                          .row_step = row_step,
                          .row_count = static_cast<std::size_t>(row_count)});
}

bool LanePass::state_repeats(std::ptrdiff_t row_count) const {
    return row_count == last_row_count_ &&
           std::memcmp(state_.data(), state_before_.data(), state_.size() * sizeof(double)) == 0;
}

bool LanePass::has_met_missing() const {
    const auto count = static_cast<std::ptrdiff_t>(lane_count_);
    return std::any_of(state_.begin(), state_.begin() + count,
                       [](double value) { return std::isnan(value); });
}

std::vector<double> LanePass::lane_state(std::size_t lane) const {
    std::vector<double> state;
    for (std::size_t i = lane; i < state_.size(); i += lane_count_) {
        state.push_back(state_[i]);
    }
    return state;
}

void LanePass::set_lane_state(std::size_t lane, std::span<const double> state) {
    start_over();
    for (std::size_t i = 0; i < state.size(); ++i) {
        state_[i * lane_count_ + lane] = state[i];
    }
}

} // namespace talvora::dsp

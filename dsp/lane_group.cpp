#include "dsp/lane_group.h"

#include <algorithm>

namespace talvora::dsp {

namespace {

std::size_t count_lanes(std::size_t run_count, std::size_t width) {
    std::size_t lane_count = std::max<std::size_t>(4, width);
    while (lane_count < run_count) {
        lane_count *= 2;
    }
    return lane_count;
}

} // namespace

LaneGroup::LaneGroup(std::span<const std::span<float>> runs, std::size_t pad_count,
                     const LaneKernels& kernels)
    : kernels_(kernels), run_count_(runs.size()),
      lane_count_(count_lanes(runs.size(), kernels.width)), pad_count_(pad_count) {
    runs_.fill(runs.back());
    std::ranges::copy(runs, runs_.begin());
}

double LaneGroup::extended_sample(std::size_t lane, std::size_t row) const {
    const std::span<float> run = runs_[lane];
    const auto sample = [run](std::size_t index) { return static_cast<double>(run[index]); };
    const std::size_t past_last = pad_count_ + run.size();
    if (row < pad_count_) {
        return 2.0 * sample(0) - sample(pad_count_ - row);
    }
    if (row < past_last) {
        return sample(row - pad_count_);
    }
    const std::size_t last = run.size() - 1;
    return row < end_row(lane) ? 2.0 * sample(last) - sample(last - 1 - (row - past_last)) : 0.0;
}

std::size_t LaneGroup::block_end(std::size_t row) const {
    const std::size_t end = std::min(row + BLOCK_ROW_COUNT, row_count());
    const std::size_t samples_end = end_row(lane_count_ - 1) - pad_count_;
    for (const std::size_t edge : {pad_count_, samples_end}) {
        if (row < edge && edge < end) {
            return edge;
        }
    }
    return end;
}

std::size_t LaneGroup::block_begin(std::size_t row) const {
    const std::size_t begin = row - std::min(row, BLOCK_ROW_COUNT);
    const std::size_t samples_end = end_row(lane_count_ - 1) - pad_count_;
    for (const std::size_t edge : {samples_end, pad_count_}) {
        if (begin < edge && edge < row) {
            return edge;
        }
    }
    return begin;
}

void LaneGroup::load_rows(std::size_t first, std::size_t last, double* rows) const {
    for (std::size_t lane = 0; lane < lane_count_; lane += QUAD) {
        if (has_samples_only(lane, first, last)) {
            const float* lines[QUAD];
            for (std::size_t i = 0; i < QUAD; ++i) {
                lines[i] = runs_[lane + i].data() + (first - pad_count_);
            }
            kernels_.widen_lines(lines, last - first, rows + lane, lane_count_);
        } else {
            for (std::size_t i = lane; i < lane + QUAD; ++i) {
                load_lane(i, first, last, rows + i);
            }
        }
    }
}

void LaneGroup::store_rows(std::size_t first, std::size_t last, const double* rows) const {
    for (std::size_t lane = 0; lane < run_count_; lane += QUAD) {
        if (lane + QUAD <= run_count_ && has_samples_only(lane, first, last)) {
            float* lines[QUAD];
            for (std::size_t i = 0; i < QUAD; ++i) {
                lines[i] = runs_[lane + i].data() + (first - pad_count_);
            }
            kernels_.narrow_lines(rows + lane, last - first, lane_count_, lines);
        } else {
            for (std::size_t i = lane; i < std::min(lane + QUAD, run_count_); ++i) {
                store_lane(i, first, last, rows + i);
            }
        }
    }
}

bool LaneGroup::has_samples_only(std::size_t lane, std::size_t first, std::size_t last) const {
    return pad_count_ <= first && last + pad_count_ <= end_row(lane + QUAD - 1);
}

void LaneGroup::load_lane(std::size_t lane, std::size_t first, std::size_t last,
                          double* column) const {
    for (std::size_t row = first; row < last; ++row) {
        *column = extended_sample(lane, row);
        column += lane_count_;
    }
}

void LaneGroup::store_lane(std::size_t lane, std::size_t first, std::size_t last,
                           const double* column) const {
    const std::span<float> run = runs_[lane];
    const std::size_t begin = std::max(first, pad_count_);
    const std::size_t end = std::min(last, pad_count_ + run.size());
    for (std::size_t row = begin; row < end; ++row) {
        run[row - pad_count_] = static_cast<float>(column[(row - first) * lane_count_]);
    }
}

} // namespace talvora::dsp

#include "dsp/lane_group.h"

#include <algorithm>
#include <cstring>
#include <limits>

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

double ExtendedRun::operator[](std::ptrdiff_t position) const {
    const auto sample = [this](std::ptrdiff_t index) {
        return static_cast<double>(run_[static_cast<std::size_t>(index)]);
    };
    if (position < 0 || position >= size()) {
        return 0.0;
    }
    if (position < samples_begin()) {
        return 2.0 * sample(0) - sample(pad_count_ - position);
    }
    if (position < samples_end()) {
        return sample(position - pad_count_);
    }
    const std::ptrdiff_t last = samples_end() - 1 - pad_count_;
    return 2.0 * sample(last) - sample(last - 1 - (position - samples_end()));
}

void ExtendedRun::load(std::ptrdiff_t first, std::ptrdiff_t last, double* values,
                       std::size_t stride) const {
    std::ptrdiff_t position = first;
    const auto put_up_to = [&](std::ptrdiff_t end, auto value_at) {
        for (end = std::min(end, last); position < end; ++position) {
            *values = value_at(position);
            values += stride;
        }
    };
    const auto sample = [this](std::ptrdiff_t at) { return static_cast<double>(*address(at)); };
    const auto nothing = [](std::ptrdiff_t) { return 0.0; };
    const auto mirror_at = [sample](std::ptrdiff_t end) {
        return [sample, end, twice = 2.0 * sample(end)](std::ptrdiff_t at) {
            return twice - sample(2 * end - at);
        };
    };
    put_up_to(0, nothing);
    put_up_to(samples_begin(), mirror_at(samples_begin()));
    put_up_to(samples_end(), sample);
    put_up_to(size(), mirror_at(samples_end() - 1));
    put_up_to(last, nothing);
}

void ExtendedRun::store(std::ptrdiff_t first, std::ptrdiff_t last, const double* values,
                        std::size_t stride) const {
    const std::ptrdiff_t begin = std::max(first, samples_begin());
    const std::ptrdiff_t end = std::min(last, samples_end());
    for (std::ptrdiff_t position = begin; position < end; ++position) {
        *address(position) =
            static_cast<float>(values[static_cast<std::size_t>(position - first) * stride]);
    }
}

LaneGroup::LaneGroup(std::span<const std::span<float>> runs, std::size_t pad_count,
                     const LaneKernels& kernels)
    : kernels_(kernels), given_count_(runs.size()),
      lane_count_(count_lanes(runs.size(), kernels.width)) {
    lanes_.fill({ExtendedRun(runs.back(), pad_count), 0});
    std::ranges::transform(runs, lanes_.begin(), [pad_count](std::span<float> run) {
        return Lane{ExtendedRun(run, pad_count), 0};
    });
    find_sample_rows();
}

LaneGroup::LaneGroup(const ExtendedRun& run, std::ptrdiff_t first, std::ptrdiff_t length,
                     std::size_t lane_count, const LaneKernels& kernels)
    : kernels_(kernels), given_count_(lane_count), lane_count_(lane_count) {
    for (std::size_t lane = 0; lane < lane_count; ++lane) {
        lanes_[lane] = {run, first};
        first += length;
    }
    find_sample_rows();
}

// In each four lanes some padding, samples, and some padding again, of which any may be empty.
void LaneGroup::load_rows(std::ptrdiff_t first, std::ptrdiff_t last, double* rows) const {
    const auto row_at = [=, this](std::ptrdiff_t row) {
        return rows + (row - first) * static_cast<std::ptrdiff_t>(lane_count_);
    };
    for (std::size_t quad = 0; quad < lane_count_; quad += QUAD) {
        const Rows samples = sample_rows(quad, {first, last});
        for (std::size_t lane = quad; lane < quad + QUAD; ++lane) {
            load(lane, {first, samples.first}, row_at(first) + lane);
            load(lane, {samples.last, last}, row_at(samples.last) + lane);
        }
        load_four(quad, samples, row_at(samples.first) + quad);
    }
}

void LaneGroup::store_rows(std::ptrdiff_t first, std::ptrdiff_t last, const double* rows) const {
    const auto row_at = [=, this](std::ptrdiff_t row) {
        return rows + (row - first) * static_cast<std::ptrdiff_t>(lane_count_);
    };
    for (std::size_t quad = 0; quad < given_count_; quad += QUAD) {
        const bool all_given = quad + QUAD <= given_count_;
        const Rows samples = sample_rows(quad, all_given ? Rows{first, last} : Rows{first, first});
        for (std::size_t lane = quad; lane < std::min(quad + QUAD, given_count_); ++lane) {
            store(lane, {first, samples.first}, row_at(first) + lane);
            store(lane, {samples.last, last}, row_at(samples.last) + lane);
        }
        store_four(quad, samples, row_at(samples.first) + quad);
    }
}

bool LaneGroup::rows_repeat(std::ptrdiff_t first, std::ptrdiff_t last) const {
    const std::ptrdiff_t row_count = last - first;
    return std::all_of(lanes_.begin(), lanes_.begin() + lane_count_, [=](const Lane& lane) {
        const std::ptrdiff_t begin = lane.first + first;
        return lane.run.has_samples_only(begin - row_count, begin + row_count) &&
               std::memcmp(lane.run.address(begin), lane.run.address(begin - row_count),
                           static_cast<std::size_t>(row_count) * sizeof(float)) == 0;
    });
}

void LaneGroup::find_sample_rows() {
    for (std::size_t lane = 0; lane < lane_count_; lane += QUAD) {
        Rows& rows = sample_rows_[lane / QUAD];
        rows = {std::numeric_limits<std::ptrdiff_t>::min(),
                std::numeric_limits<std::ptrdiff_t>::max()};
        for (std::size_t i = lane; i < lane + QUAD; ++i) {
            const Lane& each = lanes_[i];
            rows.first = std::max(rows.first, each.run.samples_begin() - each.first);
            rows.last = std::min(rows.last, each.run.samples_end() - each.first);
        }
    }
}

LaneGroup::Rows LaneGroup::sample_rows(std::size_t lane, Rows rows) const {
    const Rows& samples = sample_rows_[lane / QUAD];
    const std::ptrdiff_t begin = std::clamp(samples.first, rows.first, rows.last);
    return {begin, std::clamp(samples.last, begin, rows.last)};
}

void LaneGroup::load(std::size_t lane, Rows rows, double* column) const {
    const auto& [run, offset] = lanes_[lane];
    if (!rows.empty()) {
        run.load(offset + rows.first, offset + rows.last, column, lane_count_);
    }
}

void LaneGroup::store(std::size_t lane, Rows rows, const double* column) const {
    const auto& [run, offset] = lanes_[lane];
    if (!rows.empty()) {
        run.store(offset + rows.first, offset + rows.last, column, lane_count_);
    }
}

void LaneGroup::load_four(std::size_t lane, Rows samples, double* column) const {
    if (!samples.empty()) {
        const std::array<float*, QUAD> lines = addresses(lane, samples.first);
        kernels_.widen_lines(lines.data(), samples.size(), column, lane_count_);
    }
}

void LaneGroup::store_four(std::size_t lane, Rows samples, const double* column) const {
    if (!samples.empty()) {
        const std::array<float*, QUAD> lines = addresses(lane, samples.first);
        kernels_.narrow_lines(column, samples.size(), lane_count_, lines.data());
    }
}

std::array<float*, LaneGroup::QUAD> LaneGroup::addresses(std::size_t lane,
                                                         std::ptrdiff_t row) const {
    std::array<float*, QUAD> lines;
    for (std::size_t i = 0; i < QUAD; ++i) {
        const auto& [run, offset] = lanes_[lane + i];
        lines[i] = run.address(offset + row);
    }
    return lines;
}

} // namespace talvora::dsp

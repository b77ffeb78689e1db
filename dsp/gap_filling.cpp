#include "dsp/gap_filling.h"

#include "dsp/interp1.h"
#include "dsp/made_samples.h"

#include <Eigen/Core>

#include <cstddef>

namespace talvora::dsp {

namespace {

using Eigen::VectorXf;

struct Points {
    VectorXf xs;
    VectorXf ys;
};

Points collect_points(std::span<const float> line, std::span<const ValidRun> runs) {
    Eigen::Index count = 0;
    for (const ValidRun& run : runs) {
        count += run.length;
    }
    Points points{VectorXf(count), VectorXf(count)};
    Eigen::Index next = 0;
    for (const ValidRun& run : runs) {
        for (std::int64_t i = run.start; i < run.start + run.length; ++i, ++next) {
            points.xs[next] = static_cast<float>(i);
            points.ys[next] = line[static_cast<std::size_t>(i)];
        }
    }
    return points;
}

// Calls fill(samples of the gap, its first position) for each row.
template <class Sample, class Fill>
void for_each_gap(std::span<Sample> line, std::span<const std::int64_t> rows, Fill&& fill) {
    for (std::size_t row = 0; row + 1 < rows.size(); row += 2) {
        const auto start = static_cast<std::size_t>(rows[row]);
        fill(line.subspan(start, static_cast<std::size_t>(rows[row + 1])), rows[row]);
    }
}

// `gap` lies inside a line of exact positions: counted from the sample before the gap,
// they differ from one another as they do from the start of the line.
template <class Count, class Sample>
void fill_from_neighbours(std::span<Sample> gap) {
    const Sample before = gap.data()[-1];
    const Sample rise = gap.data()[gap.size()] - before;
    const auto count = static_cast<Count>(gap.size());
    const auto width = static_cast<Sample>(count + 1);
    for (Count k = 0; k < count; ++k) {
        gap.data()[k] = made_sample((static_cast<Sample>(k + 1) / width) * rise + before);
    }
}

} // namespace

void append_gaps(std::span<const ValidRun> runs, std::int64_t max_length, GapRows& rows) {
    for (std::size_t i = 0; i + 1 < runs.size(); ++i) {
        const std::int64_t start = runs[i].start + runs[i].length;
        const std::int64_t length = runs[i + 1].start - start;
        if (length <= max_length) {
            rows.insert(rows.end(), {start, length});
        }
    }
}

void fill_gaps_by_search(std::span<float> line, std::span<const ValidRun> runs,
                         std::span<const std::int64_t> rows) {
    const Points points = collect_points(line, runs);
    Eigen::internal::Interp1Linear<VectorXf, VectorXf> interpolator(points.xs, points.ys);
    for_each_gap(line, rows, [&](std::span<float> gap, std::int64_t start) {
        const auto count = static_cast<Eigen::Index>(gap.size());
        const VectorXf positions = VectorXf::LinSpaced(count, static_cast<float>(start),
                                                       static_cast<float>(start + count - 1));
        for (Eigen::Index k = 0; k < count; ++k) {
            gap[static_cast<std::size_t>(k)] = made_sample(interpolator.interpolate(positions[k]));
        }
    });
}

void fill_gaps_from_neighbours(std::span<float> line, std::span<const std::int64_t> rows) {
    for_each_gap(line, rows, [](std::span<float> gap, std::int64_t /*start*/) {
        fill_from_neighbours<std::int32_t>(gap);
    });
}

void fill_gaps(std::span<float> line, std::span<const ValidRun> runs,
               std::span<const std::int64_t> rows) {
    if (line.size() <= MAX_EXACT_LINE_LENGTH) {
        fill_gaps_from_neighbours(line, rows);
    } else {
        fill_gaps_by_search(line, runs, rows);
    }
}

void fill_gaps(std::span<double> line, std::span<const ValidRun> /*runs*/,
               std::span<const std::int64_t> rows) {
    for_each_gap(line, rows, [](std::span<double> gap, std::int64_t /*start*/) {
        fill_from_neighbours<std::int64_t>(gap);
    });
}

} // namespace talvora::dsp

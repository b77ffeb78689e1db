#include "host/tables/grid_samples.h"

#include <algorithm>

namespace talvora::host {

template <typename Sample>
void place_rows_of_part(const TimeGrid& grid, const GridPart& part, std::span<const double> values,
                        std::span<Sample> samples) {
    for (std::size_t i = 0; i < part.row_count; ++i) {
        const std::size_t row = part.first_row + i;
        if (!grid.leaves_out(row)) {
            samples[grid.sample_of_row[row] - part.first_sample] = static_cast<Sample>(values[i]);
        }
    }
}

template <typename Sample>
void interpolate_part(const TimeGrid& grid, const GridPart& part, std::span<const double> values,
                      std::span<Sample> samples) {
    for (std::size_t i = 0; i < part.sample_count; ++i) {
        const auto [row, share] = grid.between_rows[part.first_sample + i];
        const std::size_t at = row - part.first_row;
        const double value = values[at];
        samples[i] =
            static_cast<Sample>(share == 0 ? value : value + (values[at + 1] - value) * share);
    }
}

template void place_rows_of_part(const TimeGrid&, const GridPart&, std::span<const double>,
                                 std::span<float>);
template void place_rows_of_part(const TimeGrid&, const GridPart&, std::span<const double>,
                                 std::span<double>);
template void interpolate_part(const TimeGrid&, const GridPart&, std::span<const double>,
                               std::span<float>);
template void interpolate_part(const TimeGrid&, const GridPart&, std::span<const double>,
                               std::span<double>);

std::vector<GridPart> GridWalk::next(std::uint64_t sample_count) {
    const std::uint64_t end = std::min(sample_ + sample_count, grid_.sample_count);
    std::vector<GridPart> parts = grid_.between_rows.empty() ? next_placed(end) : next_between(end);
    sample_ = end;
    return parts;
}

std::vector<GridPart> GridWalk::next_placed(std::uint64_t end) {
    const std::span<const std::uint64_t> samples = grid_.sample_of_row;
    std::vector<GridPart> parts;
    const auto is_before_end = [&] {
        return row_ < samples.size() && (samples[row_] == LEFT_OUT || samples[row_] < end);
    };
    while (is_before_end()) {
        GridPart part{.first_row = row_, .first_sample = sample_, .sample_count = end - sample_};
        while (is_before_end() && part.row_count < max_rows_) {
            ++part.row_count;
            ++row_;
        }
        parts.push_back(part);
    }
    return parts;
}

std::vector<GridPart> GridWalk::next_between(std::uint64_t end) {
    std::vector<GridPart> parts;
    for (std::uint64_t sample = sample_; sample < end; ++sample) {
        const auto [row, share] = grid_.between_rows[sample];
        const std::size_t row_end = row + (share == 0 ? 1 : 2);
        if (parts.empty() || row_end - parts.back().first_row > max_rows_) {
            parts.push_back({.first_row = row, .first_sample = sample});
        }
        GridPart& part = parts.back();
        part.row_count = std::max(part.row_count, row_end - part.first_row);
        ++part.sample_count;
    }
    return parts;
}

} // namespace talvora::host

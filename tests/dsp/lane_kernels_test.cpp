#include "tests/dsp/all_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace talvora::dsp {
namespace {

class LaneKernelsOfWidth : public ForAllKernels {
  protected:
    void filter(std::span<const double> b, std::span<const double> a, std::vector<double>& rows) {
        std::vector<double> state((b.size() - 1) * MAX_LANE_COUNT);
        GetParam().kernels->filter_rows({.b = b.data(),
                                         .a = a.data(),
                                         .tap_count = b.size(),
                                         .lane_count = MAX_LANE_COUNT,
                                         .state = state.data(),
                                         .in = rows.data(),
                                         .out = rows.data(),
                                         .row_step = MAX_LANE_COUNT,
                                         .row_count = rows.size() / MAX_LANE_COUNT});
    }

    // Impulses that differ from lane to lane: what comes out is the numerator, times them.
    void expect_impulse_response(std::span<const double> b) {
        std::vector<double> a = {1.0};
        a.resize(b.size());
        std::vector<double> rows(b.size() * MAX_LANE_COUNT);
        for (std::size_t lane = 0; lane < MAX_LANE_COUNT; ++lane) {
            rows[lane] = static_cast<double>(lane + 1);
        }
        filter(b, a, rows);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            ASSERT_EQ(rows[i], b[i / MAX_LANE_COUNT] * static_cast<double>(i % MAX_LANE_COUNT + 1))
                << b.size() << " taps, row " << i / MAX_LANE_COUNT;
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Kernels, LaneKernelsOfWidth, testing::ValuesIn(LANE_KERNELS),
                         name_kernels);
INSTANTIATE_TEST_SUITE_P(OneLane, LaneKernelsOfWidth,
                         testing::Values(NamedKernels{"Serial", &SERIAL_LANE_KERNELS,
                                                      FilterPath::Sse2}),
                         name_kernels);

TEST_P(LaneKernelsOfWidth, GiveTheNumeratorForAnImpulse) {
    for (std::size_t tap_count = 2; tap_count <= 12; ++tap_count) {
        std::vector<double> b(tap_count);
        for (std::size_t i = 0; i < tap_count; ++i) {
            b[i] = static_cast<double>(i + 2);
        }
        expect_impulse_response(b);
        for (std::size_t i = 0; i < tap_count; ++i) {
            b[i] = static_cast<double>(std::min(i, tap_count - 1 - i) + 2); // from both ends
        }
        expect_impulse_response(b);
    }
}

// Both ends of the numerator are equal and nothing else, while what lies before it in memory
// equals what lies before its end.
TEST_P(LaneKernelsOfWidth, LookAtNothingButTheNumeratorForItsSymmetry) {
    for (std::size_t tap_count = 4; tap_count <= 9; ++tap_count) {
        std::vector<double> memory(2 * tap_count);
        for (std::size_t i = 0; i < tap_count; ++i) {
            memory[tap_count + i] = i + 1 < tap_count ? static_cast<double>(i + 1) : 1.0;
        }
        for (std::size_t i = 1; i < tap_count; ++i) {
            memory[tap_count - i] = memory[2 * tap_count - 1 - i];
        }
        expect_impulse_response(std::span(memory).subspan(tap_count));
    }
}

// The state is -0/2 - (-0 * 0) = +0 after the second row; with +0 in place of the
// coefficient -0 it were -0, and so were what comes out of the third.
TEST_P(LaneKernelsOfWidth, KeepTheSignOfACoefficientThatIsZero) {
    std::vector<double> rows(3 * MAX_LANE_COUNT, -0.0);
    std::fill_n(rows.begin(), MAX_LANE_COUNT, 0.0);
    filter(std::vector{0.5, 0.5}, std::vector{1.0, -0.0}, rows);
    for (const double sample : rows) {
        EXPECT_EQ(sample, 0.0);
        EXPECT_FALSE(std::signbit(sample));
    }
}

// Four vectors, two or one, and no fewer than four lines are widened, nor more than sixteen.
TEST_P(LaneKernelsOfWidth, NameAsManyLanesAsTheyKeepInFlight) {
    const std::map<std::size_t, std::vector<std::size_t>> by_width = {
        {1, {4, 4, 4}}, {2, {8, 4, 4}}, {4, {16, 8, 4}}, {8, {16, 16, 8}}};
    const std::vector<std::size_t>& expected = by_width.at(GetParam().kernels->width);
    for (const std::size_t tap_count : {2U, 3U}) {
        EXPECT_EQ(GetParam().kernels->lanes_at_once(tap_count), expected[0]);
    }
    for (const std::size_t tap_count : {4U, 6U}) {
        EXPECT_EQ(GetParam().kernels->lanes_at_once(tap_count), expected[1]);
    }
    for (const std::size_t tap_count : {7U, 9U, 30U}) {
        EXPECT_EQ(GetParam().kernels->lanes_at_once(tap_count), expected[2]);
    }
}

constexpr std::size_t MOST_ROWS = 9; // two steps of four and one
constexpr std::size_t STRIDE = 6;    // of columns with two others beside them

// Sample `row` of line `line`, and the other way round.
constexpr double value_at(std::size_t row, std::size_t line) {
    return static_cast<double>(10 * row + line);
}

TEST_P(LaneKernelsOfWidth, WidenFourLinesToColumnsAndTouchNothingElse) {
    std::vector<std::vector<float>> lines(4);
    const float* addresses[4];
    for (std::size_t line = 0; line < 4; ++line) {
        for (std::size_t row = 0; row < MOST_ROWS + 4; ++row) {
            lines[line].push_back(static_cast<float>(value_at(row, line)));
        }
        addresses[line] = lines[line].data();
    }
    for (std::size_t row_count = 0; row_count <= MOST_ROWS; ++row_count) {
        std::vector<double> columns(STRIDE * (MOST_ROWS + 4), -1.0);
        GetParam().kernels->widen_lines(addresses, row_count, columns.data(), STRIDE);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const bool written = i / STRIDE < row_count && i % STRIDE < 4;
            ASSERT_EQ(columns[i], written ? value_at(i / STRIDE, i % STRIDE) : -1.0)
                << row_count << " rows, number " << i;
        }
    }
}

TEST_P(LaneKernelsOfWidth, NarrowColumnsToFourLinesAndTouchNothingElse) {
    std::vector<double> columns(STRIDE * (MOST_ROWS + 4));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        columns[i] = value_at(i / STRIDE, i % STRIDE);
    }
    for (std::size_t row_count = 0; row_count <= MOST_ROWS; ++row_count) {
        std::vector<std::vector<float>> lines(4, std::vector<float>(MOST_ROWS + 4, -1.0F));
        float* addresses[] = {lines[0].data(), lines[1].data(), lines[2].data(), lines[3].data()};
        GetParam().kernels->narrow_lines(columns.data(), row_count, STRIDE, addresses);
        for (std::size_t line = 0; line < 4; ++line) {
            for (std::size_t row = 0; row < MOST_ROWS + 4; ++row) {
                const double expected = row < row_count ? value_at(row, line) : -1.0;
                ASSERT_EQ(lines[line][row], static_cast<float>(expected))
                    << row_count << " rows, row " << row << " of line " << line;
            }
        }
    }
}

} // namespace
} // namespace talvora::dsp

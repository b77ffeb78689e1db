#include "tests/dsp/all_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace talvora::dsp {
namespace {

class LaneKernelsOfWidth : public ForAllKernels {
  protected:
    // Filters rows of so many lanes.
    void filter(std::span<const double> b, std::span<const double> a, std::size_t lanes,
                std::vector<double>& rows) {
        std::vector<double> state((b.size() - 1) * lanes);
        GetParam().of_floats->filter_rows({b.data(), a.data(), b.size(), lanes, state.data()},
                                          rows.data(), rows.size() / lanes,
                                          static_cast<std::ptrdiff_t>(lanes));
    }
    static std::size_t lane_count(std::size_t tap_count, std::size_t line_count = MAX_LANE_COUNT) {
        return GetParam().of_floats->lane_count(tap_count, line_count);
    }
    // All that the kernels have for the filter.
    static std::set<std::size_t> lane_counts(std::size_t tap_count) {
        std::set<std::size_t> counts;
        for (std::size_t line_count = 1; line_count <= MAX_LANE_COUNT; ++line_count) {
            counts.insert(lane_count(tap_count, line_count));
        }
        return counts;
    }
    template <class Visit>
    static void for_each_lane_count(Visit visit) {
        for (std::size_t tap_count = 2; tap_count <= 11; ++tap_count) {
            for (const std::size_t lanes : lane_counts(tap_count)) {
                visit(tap_count, lanes);
            }
        }
    }

    // Impulses that differ from lane to lane: what comes out is the numerator, times them.
    void expect_impulse_response(std::span<const double> b) {
        std::vector<double> a = {1.0};
        a.resize(b.size());
        for (const std::size_t lanes : lane_counts(b.size())) {
            std::vector<double> rows(b.size() * lanes);
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                rows[lane] = static_cast<double>(lane + 1);
            }
            filter(b, a, lanes, rows);
            for (std::size_t i = 0; i < rows.size(); ++i) {
                ASSERT_EQ(rows[i], b[i / lanes] * static_cast<double>(i % lanes + 1))
                    << b.size() << " taps, row " << i / lanes << " of " << lanes << " lanes";
            }
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Kernels, LaneKernelsOfWidth, testing::ValuesIn(lane_kernels_to_test()),
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
    std::vector<double> rows(3 * lane_count(2), -0.0);
    std::fill_n(rows.begin(), lane_count(2), 0.0);
    filter(std::vector{0.5, 0.5}, std::vector{1.0, -0.0}, lane_count(2), rows);
    for (const double sample : rows) {
        EXPECT_EQ(sample, 0.0);
        EXPECT_FALSE(std::signbit(sample));
    }
}

// Four vectors, two or one, and no fewer than four lines are turned, nor more than sixteen.
TEST_P(LaneKernelsOfWidth, NameAsManyLanesAsTheyKeepInFlight) {
    const std::map<std::string, std::vector<std::size_t>> by_name = {
        {"Baseline", {8, 4, 4}},
        {"Avx2", {16, 8, 4}},
        {"Avx512", {16, 16, 8}},
        {"EightLanesOnTheBaseline", {16, 16, 8}}};
    const std::vector<std::size_t>& expected = by_name.at(GetParam().name);
    for (const std::size_t tap_count : {2U, 3U}) {
        EXPECT_EQ(lane_count(tap_count), expected[0]);
    }
    for (const std::size_t tap_count : {4U, 6U}) {
        EXPECT_EQ(lane_count(tap_count), expected[1]);
    }
    for (const std::size_t tap_count : {7U, 9U, 10U, 30U}) {
        EXPECT_EQ(lane_count(tap_count), expected[2]);
    }
}

TEST_P(LaneKernelsOfWidth, NameNoMoreLanesThanFewLinesNeed) {
    const std::size_t fewest = lane_count(30);
    const std::size_t most = lane_count(2);
    for (std::size_t line_count = 1; line_count <= MAX_LANE_COUNT; ++line_count) {
        const std::size_t needed = line_count <= 4 ? 4 : (line_count <= 8 ? 8 : 16);
        EXPECT_EQ(lane_count(2, line_count), std::clamp(needed, fewest, most));
        EXPECT_EQ(lane_count(30, line_count), fewest);
    }
}

constexpr std::size_t TILE_COUNT = 3;
constexpr std::size_t ROWS_OF_TILES = TILE_COUNT * TILE_ROWS;

// Sample `row` of line `line`, and the other way round.
constexpr double value_at(std::size_t row, std::size_t line) {
    return static_cast<double>(100 * row + line);
}

// A filter that changes nothing, of every number of taps that a loop is made for.
class Unchanging {
  public:
    Unchanging(std::size_t tap_count, std::size_t lane_count)
        : one_(tap_count), lane_count_(lane_count), state_((tap_count - 1) * lane_count) {
        one_[0] = 1.0;
    }
    LaneFilter filter() {
        return {one_.data(), one_.data(), one_.size(), lane_count_, state_.data()};
    }

  private:
    std::vector<double> one_;
    std::size_t lane_count_;
    std::vector<double> state_;
};

template <class Sample>
void expect_lines_to_become_rows(std::size_t tap_count, std::size_t lanes,
                                 const LaneKernels<Sample>& kernels) {
    std::vector<std::vector<Sample>> lines(lanes);
    std::vector<const Sample*> addresses;
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        for (std::size_t row = 0; row < ROWS_OF_TILES; ++row) {
            lines[lane].push_back(static_cast<Sample>(value_at(row, lane)));
        }
        addresses.push_back(lines[lane].data());
    }
    std::vector<double> rows((ROWS_OF_TILES + 1) * lanes, -1.0);
    Unchanging unchanging(tap_count, lanes);
    const Upcoming<Sample> upcoming{addresses.data(), TILE_ROWS};
    kernels.filter_forward(unchanging.filter(), addresses.data(), ROWS_OF_TILES, rows.data(),
                           &upcoming);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const double expected = i / lanes < ROWS_OF_TILES ? value_at(i / lanes, i % lanes) : -1.0;
        ASSERT_EQ(rows[i], expected) << tap_count << " taps, number " << i;
    }
}

TEST_P(LaneKernelsOfWidth, TurnLinesToRowsAndTouchNothingElse) {
    for_each_lane_count([](std::size_t tap_count, std::size_t lanes) {
        for_samples_of_each_type([&]<class Sample>(Sample) {
            expect_lines_to_become_rows(tap_count, lanes, GetParam().of<Sample>());
        });
    });
}

template <class Sample>
void expect_rows_to_become_lines(std::size_t tap_count, std::size_t lanes,
                                 const LaneKernels<Sample>& kernels) {
    std::vector<double> rows;
    for (std::size_t i = 0; i < ROWS_OF_TILES * lanes; ++i) {
        rows.push_back(value_at(i / lanes, i % lanes));
    }
    std::vector<std::vector<Sample>> lines(lanes, std::vector<Sample>(ROWS_OF_TILES + 2, -1));
    std::vector<Sample*> addresses;
    for (std::vector<Sample>& line : lines) {
        addresses.push_back(line.data() + 1);
    }
    Unchanging unchanging(tap_count, lanes);
    kernels.filter_backward(unchanging.filter(), rows.data(), ROWS_OF_TILES, addresses.data(),
                            nullptr);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
        for (std::size_t i = 0; i < ROWS_OF_TILES + 2; ++i) {
            const bool is_row = i > 0 && i <= ROWS_OF_TILES;
            ASSERT_EQ(lines[lane][i],
                      is_row ? static_cast<Sample>(value_at(i - 1, lane)) : Sample(-1))
                << tap_count << " taps, line " << lane;
        }
    }
}

TEST_P(LaneKernelsOfWidth, TurnRowsToLinesAndTouchNothingElse) {
    for_each_lane_count([](std::size_t tap_count, std::size_t lanes) {
        for_samples_of_each_type([&]<class Sample>(Sample) {
            expect_rows_to_become_lines(tap_count, lanes, GetParam().of<Sample>());
        });
    });
}

// Few rows and many, neither whole tiles: the last tile reaches back, the first one stays.
constexpr std::size_t BEYOND_TILES[] = {1, 15, 17, ROWS_OF_TILES - 3};

template <class Sample>
void expect_lines_of_any_length_to_become_rows(std::size_t tap_count, std::size_t lanes,
                                               const LaneKernels<Sample>& kernels) {
    for (const std::size_t row_count : BEYOND_TILES) {
        std::vector<std::vector<Sample>> lines(lanes, std::vector<Sample>(TILE_ROWS, -2));
        std::vector<const Sample*> addresses;
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            for (std::size_t row = 0; row < row_count; ++row) {
                lines[lane].push_back(static_cast<Sample>(value_at(row, lane)));
            }
            addresses.push_back(lines[lane].data() + TILE_ROWS);
        }
        std::vector<double> rows((row_count + 2) * lanes, -1.0);
        Unchanging unchanging(tap_count, lanes);
        kernels.filter_forward(unchanging.filter(), addresses.data(), row_count,
                               rows.data() + lanes, nullptr);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const bool is_row = i >= lanes && i < (row_count + 1) * lanes;
            ASSERT_EQ(rows[i], is_row ? value_at(i / lanes - 1, i % lanes) : -1.0)
                << tap_count << " taps, " << row_count << " rows, number " << i;
        }
    }
}

TEST_P(LaneKernelsOfWidth, TurnLinesThatEndWithinATile) {
    for_each_lane_count([](std::size_t tap_count, std::size_t lanes) {
        for_samples_of_each_type([&]<class Sample>(Sample) {
            expect_lines_of_any_length_to_become_rows(tap_count, lanes, GetParam().of<Sample>());
        });
    });
}

template <class Sample>
void expect_rows_of_any_count_to_become_lines(std::size_t tap_count, std::size_t lanes,
                                              const LaneKernels<Sample>& kernels) {
    for (const std::size_t row_count : BEYOND_TILES) {
        std::vector<double> rows(TILE_ROWS * lanes, -2.0);
        for (std::size_t i = 0; i < row_count * lanes; ++i) {
            rows.push_back(value_at(i / lanes, i % lanes));
        }
        std::vector<std::vector<Sample>> lines(lanes,
                                               std::vector<Sample>(TILE_ROWS + row_count + 1, -1));
        std::vector<Sample*> addresses;
        for (std::vector<Sample>& line : lines) {
            addresses.push_back(line.data() + TILE_ROWS);
        }
        Unchanging unchanging(tap_count, lanes);
        kernels.filter_backward(unchanging.filter(), rows.data() + TILE_ROWS * lanes, row_count,
                                addresses.data(), nullptr);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            for (std::size_t row = 0; row <= row_count; ++row) {
                ASSERT_EQ(addresses[lane][row],
                          row < row_count ? static_cast<Sample>(value_at(row, lane)) : Sample(-1))
                    << tap_count << " taps, " << row_count << " rows, line " << lane;
            }
        }
    }
}

TEST_P(LaneKernelsOfWidth, TurnRowsThatEndWithinATile) {
    for_each_lane_count([](std::size_t tap_count, std::size_t lanes) {
        for_samples_of_each_type([&]<class Sample>(Sample) {
            expect_rows_of_any_count_to_become_lines(tap_count, lanes, GetParam().of<Sample>());
        });
    });
}

TEST_P(LaneKernelsOfWidth, MakeInfinitiesOfWhatNoFloatHolds) {
    const std::size_t lanes = lane_count(3);
    const std::vector<double> rows(TILE_ROWS * lanes, -1e39);
    std::vector<std::vector<float>> lines(lanes, std::vector<float>(TILE_ROWS));
    std::vector<float*> addresses;
    for (std::vector<float>& line : lines) {
        addresses.push_back(line.data());
    }
    Unchanging unchanging(3, lanes);
    GetParam().of_floats->filter_backward(unchanging.filter(), rows.data(), TILE_ROWS,
                                          addresses.data(), nullptr);
    for (const std::vector<float>& line : lines) {
        EXPECT_EQ(line, std::vector(TILE_ROWS, -std::numeric_limits<float>::infinity()));
    }
}

} // namespace
} // namespace talvora::dsp

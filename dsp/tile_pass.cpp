#include "dsp/tile_pass.h"

#include "dsp/made_samples.h"
#include "dsp/same_bits.h"

#include <algorithm>
#include <cmath>

namespace talvora::dsp {

namespace {

constexpr auto ROWS = static_cast<std::ptrdiff_t>(TILE_ROWS);

// Rows that are passed in one call; where lanes come to rest so few that it is soon seen.
constexpr std::ptrdiff_t MOST_ROWS = 15 * ROWS;
constexpr auto FEW_ROWS = static_cast<std::ptrdiff_t>(REST_ROWS);

// What is upcoming some rows on, if anything is.
template <class Sample>
class AskedLines {
  public:
    AskedLines(const UpcomingLines<Sample>* upcoming, std::ptrdiff_t row) {
        if (upcoming != nullptr) {
            lines_ = shift_lines(upcoming->lines, row / ROWS * upcoming->step);
            upcoming_ = {lines_.data(), upcoming->step};
        }
    }
    const Upcoming<Sample>* upcoming() const {
        return upcoming_.addresses != nullptr ? &upcoming_ : nullptr;
    }

  private:
    LaneLines<const Sample> lines_;
    Upcoming<Sample> upcoming_{};
};

// Values that lie `left_step` and `right_step` apart.
bool same_bits_apart(const double* left, std::size_t left_step, const double* right,
                     std::size_t right_step, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (!same_bits(left + i * left_step, right + i * right_step, 1)) {
            return false;
        }
    }
    return true;
}

// A state with a number so small, that is not zero, fades into denormal numbers: with what is left
// of a signal before them a lane has met zeros.
constexpr double FAINT = 0x1p-960;
bool is_faint(double value) {
    return std::abs(value) < FAINT && value != 0.0;
}

bool has_faint(const double* row, std::size_t lane_count) {
    return std::any_of(row, row + lane_count, is_faint);
}

// Whether the next samples of all lanes seem to be one value each. Lanes that only seem to stand
// still cost shorter calls.
template <class Sample>
bool stand_still(const LaneLines<const Sample>& lines, std::size_t lane_count) {
    return std::all_of(lines.begin(), lines.begin() + lane_count, [](const Sample* line) {
        return line[0] == line[1] && line[0] == line[6] && line[0] == line[ROWS - 1];
    });
}

// Whether the rows before `end` seem to be in a cycle.
bool stand_still_before(const double* end, std::size_t lane_count) {
    const double* last_two = end - 2 * lane_count;
    return same_bits(last_two, last_two - REST_ROWS / 2 * lane_count, 2 * lane_count);
}

void load_column(const double* rows, std::size_t lane_count, double* column) {
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        column[row] = rows[row * lane_count];
    }
}

void store_column(const double* column, std::size_t lane_count, double* rows) {
    for (std::size_t row = 0; row < REST_ROWS; ++row) {
        rows[row * lane_count] = column[row];
    }
}

// REST_ROWS rows of a pass, lane by lane. A lane that follows another one takes its input.
template <class Sample>
struct ForwardBlock {
    const LaneKernels<Sample>& kernels;
    std::size_t lane_count;
    LaneLines<const Sample> lines;
    double* rows; // or none

    bool has_output() const { return rows != nullptr; }
    void load_input(std::size_t lane, double* input) const {
        std::copy_n(lines[lane], REST_ROWS, input);
    }
    // A float is no denormal double, and of a double the state tells.
    static bool has_faint_input(std::size_t) { return false; }
    void load_output(std::size_t lane, double* output) const {
        load_column(rows + lane, lane_count, output);
    }
    void store_output(std::size_t lane, const double* output) const {
        store_column(output, lane_count, rows + lane);
    }
    // The block passed before this one, if it is the last one passed.
    bool has_same_input() const {
        return std::all_of(lines.begin(), lines.begin() + lane_count, [](const Sample* line) {
            return same_bits(line, line - REST_ROWS, REST_ROWS);
        });
    }
    void copy_output() const {
        if (has_output()) {
            std::copy_n(rows - REST_ROWS * lane_count, REST_ROWS * lane_count, rows);
        }
    }
    void follow(std::size_t lane, std::size_t leader) { lines[lane] = lines[leader]; }
    void filter(const LaneFilter& filter) const {
        kernels.filter_forward(filter, lines.data(), REST_ROWS, rows, nullptr);
    }
    void end_following(std::size_t, const double*) const {}
};

template <class Sample>
struct BackwardBlock {
    const LaneKernels<Sample>& kernels;
    std::size_t lane_count;
    double* rows;
    const LaneLines<Sample>* lines; // or none
    LaneLines<Sample> written = lines != nullptr ? *lines : LaneLines<Sample>{};
    std::array<Sample, REST_ROWS> unwanted{};

    bool has_output() const { return lines != nullptr; }
    void load_input(std::size_t lane, double* input) const {
        load_column(rows + lane, lane_count, input);
    }
    bool has_faint_input(std::size_t lane) const {
        return is_faint(rows[(REST_ROWS - 1) * lane_count + lane]);
    }
    void load_output(std::size_t lane, double* output) const {
        std::copy_n((*lines)[lane], REST_ROWS, output);
    }
    void store_output(std::size_t lane, const double* output) const {
        std::transform(output, output + REST_ROWS, (*lines)[lane], narrowed_sample<Sample>);
    }
    bool has_same_input() const {
        return same_bits(rows, rows + REST_ROWS * lane_count, REST_ROWS * lane_count);
    }
    void copy_output() const {
        for (std::size_t lane = 0; has_output() && lane < lane_count; ++lane) {
            std::copy_n((*lines)[lane] + REST_ROWS, REST_ROWS, (*lines)[lane]);
        }
    }
    void follow(std::size_t lane, std::size_t leader) {
        LaneRows column;
        load_input(leader, column.data());
        store_column(column.data(), lane_count, rows + lane);
        written[lane] = unwanted.data();
    }
    void filter(const LaneFilter& filter) const {
        kernels.filter_backward(filter, rows, REST_ROWS, has_output() ? written.data() : nullptr,
                                nullptr);
    }
    void end_following(std::size_t lane, const double* input) const {
        store_column(input, lane_count, rows + lane);
    }
};

} // namespace

template <class Sample>
TilePass<Sample>::TilePass(const PreparedFilter& filter, const LaneKernels<Sample>& kernels,
                           std::size_t lane_count, PassScratch& scratch)
    : filter_(filter), kernels_(kernels), scratch_(scratch), lane_count_(lane_count),
      order_(filter.tap_count() - 1) {
    scratch_.state.resize(order_ * lane_count_);
    for (LaneRest& rest : scratch_.rests) {
        rest.is_known = false;
    }
}

template <class Sample>
void TilePass<Sample>::put_to_rest(std::size_t lane, double input) {
    for (std::size_t i = 0; i < order_; ++i) {
        scratch_.state[i * lane_count_ + lane] = filter_.steady_state[i] * input;
    }
}

template <class Sample>
void TilePass<Sample>::put_to_rest(const double* inputs) {
    for (std::size_t i = 0; i < order_; ++i) {
        std::transform(inputs, inputs + lane_count_, &scratch_.state[i * lane_count_],
                       [value = filter_.steady_state[i]](double input) { return value * input; });
    }
}

template <class Sample>
void TilePass<Sample>::get_lane_state(std::size_t lane, std::span<double> state) const {
    for (std::size_t i = 0; i < order_; ++i) {
        state[i] = scratch_.state[i * lane_count_ + lane];
    }
}

template <class Sample>
void TilePass<Sample>::set_lane_state(std::size_t lane, std::span<const double> state) {
    for (std::size_t i = 0; i < order_; ++i) {
        scratch_.state[i * lane_count_ + lane] = state[i];
    }
}

template <class Sample>
void TilePass<Sample>::copy_lane_state(std::size_t from, std::size_t to) {
    for (std::size_t i = 0; i < order_; ++i) {
        double* const row = &scratch_.state[i * lane_count_];
        row[to] = row[from];
    }
}

template <class Sample>
bool TilePass<Sample>::has_met_missing() const {
    return std::any_of(scratch_.state.begin(), scratch_.state.begin() + step(),
                       [](double value) { return std::isnan(value); });
}

template <class Sample>
void TilePass<Sample>::filter_forward(const LaneLines<const Sample>& lines,
                                      std::ptrdiff_t row_count, double* rows,
                                      const UpcomingLines<Sample>* upcoming) {
    bool all_repeat = false;
    for (std::ptrdiff_t row = 0, count = 0; row < row_count; row += count) {
        const LaneLines<const Sample> now = shift_lines(lines, row);
        double* const out = rows != nullptr ? rows + row * step() : nullptr;
        if (row_count - row >= FEW_ROWS &&
            (all_repeat || stand_still<Sample>(now, lane_count_) || is_faint())) {
            count = FEW_ROWS;
            all_repeat =
                pass_with_rests(ForwardBlock<Sample>{kernels_, lane_count_, now, out}, all_repeat);
        } else {
            all_repeat = false;
            count = std::min(row_count - row, MOST_ROWS);
            const AskedLines<Sample> asked(upcoming, row);
            kernels_.filter_forward(lane_filter(), now.data(), static_cast<std::size_t>(count), out,
                                    asked.upcoming());
        }
    }
}

// Rows beyond whole tiles are the first to be passed, so that no other tile reaches back.
template <class Sample>
void TilePass<Sample>::filter_backward(double* rows, std::ptrdiff_t row_count,
                                       const LaneLines<Sample>* lines,
                                       const UpcomingLines<Sample>* upcoming) {
    bool all_repeat = false;
    for (std::ptrdiff_t end = row_count, count = 0; end > 0; end -= count) {
        const std::ptrdiff_t beyond_tiles = end % ROWS;
        const bool is_silent =
            end >= FEW_ROWS &&
            (all_repeat || stand_still_before(rows + end * step(), lane_count_) || is_faint() ||
             has_faint(rows + (end - 1) * step(), lane_count_));
        const bool rests = is_silent && beyond_tiles == 0;
        count = rests       ? FEW_ROWS
                : is_silent ? beyond_tiles
                            : std::min(end, beyond_tiles + MOST_ROWS);
        const std::ptrdiff_t first = end - count;
        const LaneLines<Sample> now =
            lines != nullptr ? shift_lines(*lines, first) : LaneLines<Sample>{};
        double* const in = rows + first * step();
        if (rests) {
            all_repeat = pass_with_rests(
                BackwardBlock<Sample>{kernels_, lane_count_, in, lines != nullptr ? &now : nullptr},
                all_repeat);
        } else {
            all_repeat = false;
            const AskedLines<Sample> asked(upcoming, first);
            kernels_.filter_backward(lane_filter(), in, static_cast<std::size_t>(count),
                                     lines != nullptr ? now.data() : nullptr, asked.upcoming());
        }
    }
}

template <class Sample>
void TilePass<Sample>::filter_rows(double* rows, std::size_t row_count, std::ptrdiff_t row_step) {
    kernels_.filter_rows(lane_filter(), rows, row_count, row_step);
}

template <class Sample>
LaneFilter TilePass<Sample>::lane_filter() {
    return {filter_.b.data(), filter_.a.data(), filter_.tap_count(), lane_count_,
            scratch_.state.data()};
}

template <class Sample>
bool TilePass<Sample>::is_faint() const {
    return std::ranges::any_of(scratch_.state, [](double value) { return dsp::is_faint(value); });
}

template <class Sample>
bool TilePass<Sample>::is_faint(std::size_t lane) const {
    for (std::size_t i = 0; i < order_; ++i) {
        if (dsp::is_faint(scratch_.state[i * lane_count_ + lane])) {
            return true;
        }
    }
    return false;
}

// Faint lanes that repeat follow one that does not while the others are filtered. Whether all
// repeat; when they did so in the block just before, they do it again with the same input.
template <class Sample>
template <class Block>
bool TilePass<Sample>::pass_with_rests(Block block, bool all_repeated) {
    if (all_repeated && block.has_same_input()) {
        block.copy_output();
        return true;
    }
    std::array<bool, MAX_LANE_COUNT> faint{};
    std::array<bool, MAX_LANE_COUNT> repeating{};
    std::size_t leader = lane_count_;
    for (std::size_t lane = 0; lane < lane_count_; ++lane) {
        faint[lane] = is_faint(lane) || block.has_faint_input(lane);
        repeating[lane] = faint[lane] && repeats(block, lane);
        leader = repeating[lane] ? leader : lane;
    }
    scratch_.state_before = scratch_.state;
    if (leader < lane_count_) {
        for (std::size_t lane = 0; lane < lane_count_; ++lane) {
            if (repeating[lane]) {
                block.follow(lane, leader);
                copy_lane_state(leader, lane);
            }
        }
        block.filter(lane_filter());
    }
    for (std::size_t lane = 0; lane < lane_count_; ++lane) {
        if (repeating[lane]) {
            const LaneRest& rest = scratch_.rests[lane];
            if (leader < lane_count_) {
                set_lane_state(lane, rest.state);
                block.end_following(lane, rest.input.data());
            }
            if (block.has_output()) {
                block.store_output(lane, rest.output.data());
            }
        } else if (faint[lane]) {
            remember_rest(block, lane);
        }
    }
    return same_bits(scratch_.state.data(), scratch_.state_before.data(), scratch_.state.size());
}

template <class Sample>
template <class Block>
bool TilePass<Sample>::repeats(const Block& block, std::size_t lane) const {
    const LaneRest& rest = scratch_.rests[lane];
    if (!rest.is_known || (block.has_output() && !rest.has_output) ||
        !same_bits_apart(&scratch_.state[lane], lane_count_, rest.state.data(), 1, order_)) {
        return false;
    }
    LaneRows input;
    block.load_input(lane, input.data());
    return same_bits(input.data(), rest.input.data(), REST_ROWS);
}

// If the state of the lane is what it was before the block.
template <class Sample>
template <class Block>
void TilePass<Sample>::remember_rest(const Block& block, std::size_t lane) {
    if (!same_bits_apart(&scratch_.state[lane], lane_count_, &scratch_.state_before[lane],
                         lane_count_, order_)) {
        return;
    }
    LaneRest& rest = scratch_.rests[lane];
    rest.is_known = true;
    rest.state.resize(order_);
    get_lane_state(lane, rest.state);
    block.load_input(lane, rest.input.data());
    rest.has_output = block.has_output();
    if (rest.has_output) {
        block.load_output(lane, rest.output.data());
    }
}

template class TilePass<float>;
template class TilePass<double>;

} // namespace talvora::dsp

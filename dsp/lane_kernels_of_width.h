// The loops of lane_kernels.h for vectors of LANE_WIDTH doubles. Included by one
// source per instruction set, which defines LANE_WIDTH first; everything here has
// internal linkage, so that each source keeps its own copy.
#pragma once

#include "dsp/lane_kernels.h"
#include "dsp/vector_operations.h"

#include <utility>

namespace talvora::dsp {

namespace {

constexpr std::size_t WIDTH = LANE_WIDTH;

constexpr std::ptrdiff_t as_step(std::size_t count) {
    return static_cast<std::ptrdiff_t>(count);
}

using Lanes = VectorOf<double, WIDTH>::Type;

// ---------------------------------------------------------------------------
// Turning: samples that follow each other in a line are rows apart in a tile. Vectors are made of
// quads, four samples each: those of four lines turned about their diagonal are four rows.

// The quads in a vector of samples that fills a register, if there are so many lanes.
template <class Sample, std::size_t LaneCount>
constexpr std::size_t quads_at_once() {
    constexpr std::size_t in_register = WIDTH * sizeof(double) / (4 * sizeof(Sample));
    constexpr std::size_t in_row = LaneCount / 4;
    return in_register < 1 ? 1 : (in_register < in_row ? in_register : in_row);
}

// Element `index` of the vectors a and b in each of whose quads `pattern` picks four: 0 to 3 are
// elements of a's quad, 4 to 7 those of b's.
constexpr int picked_in_quad(const int (&pattern)[4], std::size_t index, std::size_t count) {
    const int picked = pattern[index % 4];
    const int quad = static_cast<int>(index / 4 * 4);
    return quad + (picked < 4 ? picked : picked - 4 + static_cast<int>(count));
}
constexpr int EVEN_PLACES[] = {0, 4, 2, 6};
constexpr int ODD_PLACES[] = {1, 5, 3, 7};
constexpr int LOW_HALVES[] = {0, 4, 1, 5};
constexpr int HIGH_HALVES[] = {2, 6, 3, 7};
constexpr int FIRST_PAIRS[] = {0, 1, 4, 5};
constexpr int LAST_PAIRS[] = {2, 3, 6, 7};

template <const int (&Pattern)[4], class Vector, std::size_t... Index>
inline void pick_in_quads(const Vector& a, const Vector& b, Vector& picked,
                          std::index_sequence<Index...>) {
    picked = __builtin_shufflevector(a, b, picked_in_quad(Pattern, Index, sizeof...(Index))...);
}

// Element `index` of the vectors a and b of which whole quads are picked.
template <std::size_t... Quad, class From, class To, std::size_t... Index>
inline void pick_quads(const From& a, const From& b, To& picked, std::index_sequence<Index...>) {
    constexpr std::size_t quads[] = {Quad...};
    picked = __builtin_shufflevector(a, b, static_cast<int>(quads[Index / 4] * 4 + Index % 4)...);
}

// Four vectors turned quad by quad: two lines at a time, of which floats are paired half by half,
// and doubles place by place, as a half of a quad of theirs is what one instruction keeps together.
template <class Sample, std::size_t QuadCount>
inline void turn_quads(typename VectorOf<Sample, 4 * QuadCount>::Type* m) {
    using Vector = typename VectorOf<Sample, 4 * QuadCount>::Type;
    constexpr auto all = std::make_index_sequence<4 * QuadCount>();
    constexpr bool BY_PLACES = sizeof(Sample) == sizeof(double);
    constexpr const int(&ONES)[4] = BY_PLACES ? EVEN_PLACES : LOW_HALVES;
    constexpr const int(&OTHERS)[4] = BY_PLACES ? ODD_PLACES : HIGH_HALVES;
    Vector ones01;
    Vector others01;
    Vector ones23;
    Vector others23;
    pick_in_quads<ONES>(m[0], m[1], ones01, all);
    pick_in_quads<OTHERS>(m[0], m[1], others01, all);
    pick_in_quads<ONES>(m[2], m[3], ones23, all);
    pick_in_quads<OTHERS>(m[2], m[3], others23, all);
    pick_in_quads<FIRST_PAIRS>(ones01, ones23, m[0], all);
    pick_in_quads<LAST_PAIRS>(ones01, ones23, m[BY_PLACES ? 2 : 1], all);
    pick_in_quads<FIRST_PAIRS>(others01, others23, m[BY_PLACES ? 1 : 2], all);
    pick_in_quads<LAST_PAIRS>(others01, others23, m[3], all);
}

template <class Half, class Vector, std::size_t... Index>
inline void join(const Half& low, const Half& high, Vector& joined, std::index_sequence<Index...>) {
    joined = __builtin_shufflevector(low, high, static_cast<int>(Index)...);
}

// The same quad of each fourth line side by side.
template <std::size_t QuadCount, class Sample>
inline void gather_quads(typename VectorOf<Sample, 4 * QuadCount>::Type& vector,
                         const Sample* const* lines, std::ptrdiff_t position) {
    if constexpr (QuadCount == 1) {
        load(vector, lines[0] + position);
    } else {
        typename VectorOf<Sample, 2 * QuadCount>::Type low;
        typename VectorOf<Sample, 2 * QuadCount>::Type high;
        gather_quads<QuadCount / 2>(low, lines, position);
        gather_quads<QuadCount / 2>(high, lines + 2 * QuadCount, position);
        join(low, high, vector, std::make_index_sequence<4 * QuadCount>());
    }
}

// Where a register is too narrow for a quad pairs are turned, two samples of two lines.
template <class Sample>
constexpr bool HOLDS_QUADS = 4 * sizeof(Sample) <= WIDTH * sizeof(double);

template <class Vector>
inline void turn_pair(Vector& a, Vector& b) {
    const Vector first = __builtin_shufflevector(a, b, 0, 2);
    b = __builtin_shufflevector(a, b, 1, 3);
    a = first;
}

template <std::size_t LaneCount, class Sample>
inline void read_tile_by_pairs(const Sample* const* lines, std::ptrdiff_t position, Sample* tile) {
    for (std::size_t lane = 0; lane < LaneCount; lane += 2) {
#pragma GCC unroll 4
        for (std::size_t row = 0; row < TILE_ROWS; row += 2) {
            typename VectorOf<Sample, 2>::Type m[2];
            load(m[0], lines[lane] + position + as_step(row));
            load(m[1], lines[lane + 1] + position + as_step(row));
            turn_pair(m[0], m[1]);
            store(m[0], tile + row * LaneCount + lane);
            store(m[1], tile + (row + 1) * LaneCount + lane);
        }
    }
}

template <std::size_t LaneCount, class Sample>
inline void write_tile_by_pairs(const Sample* tile, Sample* const* lines, std::ptrdiff_t position) {
    for (std::size_t lane = 0; lane < LaneCount; lane += 2) {
#pragma GCC unroll 4
        for (std::size_t row = 0; row < TILE_ROWS; row += 2) {
            typename VectorOf<Sample, 2>::Type m[2];
            load(m[0], tile + row * LaneCount + lane);
            load(m[1], tile + (row + 1) * LaneCount + lane);
            settle_missing(m[0]);
            settle_missing(m[1]);
            turn_pair(m[0], m[1]);
            store(m[0], lines[lane] + position + as_step(row));
            store(m[1], lines[lane + 1] + position + as_step(row));
        }
    }
}

// TILE_ROWS samples of each line from `position` on, to a tile.
template <std::size_t LaneCount, class Sample>
inline void read_tile(const Sample* const* lines, std::ptrdiff_t position, Sample* tile) {
    if constexpr (!HOLDS_QUADS<Sample>) {
        return read_tile_by_pairs<LaneCount>(lines, position, tile);
    }
    constexpr std::size_t QUADS = quads_at_once<Sample, LaneCount>();
    for (std::size_t lane = 0; lane < LaneCount; lane += 4 * QUADS) {
        for (std::size_t row = 0; row < TILE_ROWS; row += 4) {
            typename VectorOf<Sample, 4 * QUADS>::Type m[4];
#pragma GCC unroll 4
            for (std::size_t i = 0; i < 4; ++i) {
                gather_quads<QUADS>(m[i], lines + lane + i, position + as_step(row));
            }
            turn_quads<Sample, QUADS>(m);
#pragma GCC unroll 4
            for (std::size_t i = 0; i < 4; ++i) {
                store(m[i], tile + (row + i) * LaneCount + lane);
            }
        }
    }
}

// Quads of `QuadCount` vectors, each of which holds those of as many lines, sorted by line.
template <std::size_t QuadCount, class Sample>
inline void store_sorted(const typename VectorOf<Sample, 4 * QuadCount>::Type (&m)[QuadCount],
                         Sample* const* lines, std::ptrdiff_t position) {
    using Vector = typename VectorOf<Sample, 4 * QuadCount>::Type;
    constexpr auto all = std::make_index_sequence<4 * QuadCount>();
    if constexpr (QuadCount == 1) {
        store(m[0], lines[0] + position);
    } else if constexpr (QuadCount == 2) {
        Vector line;
        pick_quads<0, 2>(m[0], m[1], line, all);
        store(line, lines[0] + position);
        pick_quads<1, 3>(m[0], m[1], line, all);
        store(line, lines[4] + position);
    } else {
        Vector
            pairs[4]; // of the first two lines or the last two, of the first two rows or the last
        pick_quads<0, 1, 4, 5>(m[0], m[1], pairs[0], all);
        pick_quads<0, 1, 4, 5>(m[2], m[3], pairs[1], all);
        pick_quads<2, 3, 6, 7>(m[0], m[1], pairs[2], all);
        pick_quads<2, 3, 6, 7>(m[2], m[3], pairs[3], all);
#pragma GCC unroll 2
        for (std::size_t half = 0; half < 2; ++half) {
            Vector line;
            pick_quads<0, 2, 4, 6>(pairs[2 * half], pairs[2 * half + 1], line, all);
            store(line, lines[8 * half] + position);
            pick_quads<1, 3, 5, 7>(pairs[2 * half], pairs[2 * half + 1], line, all);
            store(line, lines[8 * half + 4] + position);
        }
    }
}

// And back.
template <std::size_t LaneCount, class Sample>
inline void write_tile(const Sample* tile, Sample* const* lines, std::ptrdiff_t position) {
    if constexpr (!HOLDS_QUADS<Sample>) {
        return write_tile_by_pairs<LaneCount>(tile, lines, position);
    }
    constexpr std::size_t QUADS = quads_at_once<Sample, LaneCount>();
    using Vector = typename VectorOf<Sample, 4 * QUADS>::Type;
    for (std::size_t lane = 0; lane < LaneCount; lane += 4 * QUADS) {
        for (std::size_t row = 0; row < TILE_ROWS; row += 4 * QUADS) {
            Vector m[4 * QUADS];
#pragma GCC unroll 16
            for (std::size_t i = 0; i < 4 * QUADS; ++i) {
                load(m[i], tile + (row + i) * LaneCount + lane);
                settle_missing(m[i]);
            }
#pragma GCC unroll 4
            for (std::size_t quad = 0; quad < QUADS; ++quad) {
                turn_quads<Sample, QUADS>(m + 4 * quad);
            }
#pragma GCC unroll 4
            for (std::size_t i = 0; i < 4; ++i) {
                Vector of_line[QUADS];
#pragma GCC unroll 4
                for (std::size_t quad = 0; quad < QUADS; ++quad) {
                    of_line[quad] = m[4 * quad + i];
                }
                store_sorted<QUADS>(of_line, lines + lane + i, position + as_step(row));
            }
        }
    }
}

// ---------------------------------------------------------------------------
// The recurrence.

// Vectors stay in registers only if all that takes their addresses is inlined.
#define INLINED __attribute__((always_inline)) inline

// The numerators of most designs read the same from both ends: half of their products
// with a sample are the others once more.
enum class Numerator { Any, Palindrome };

// Any number of taps; the state stays in memory.
constexpr std::size_t ANY_TAP_COUNT = 0;
constexpr std::size_t MOST_TAPS_IN_REGISTERS = 9;

// Vectors in flight. A step waits for the one before through a multiplication, a subtraction and
// an addition: vectors side by side fill that time. Longer filters have more to do in a step, and
// leave fewer registers.
constexpr std::size_t vectors_for(std::size_t tap_count) {
    constexpr std::size_t MOST = MAX_LANE_COUNT / WIDTH;
    std::size_t wanted = 1;
    if (tap_count <= 6 && tap_count != ANY_TAP_COUNT) {
        wanted = tap_count <= 3 ? 4 : 2;
    }
    return wanted < MOST ? wanted : MOST;
}

// No fewer than a vector holds, and than are turned at once; no more than are in flight.
constexpr std::size_t FEWEST_LANES = WIDTH < 4 ? 4 : WIDTH;
constexpr std::size_t most_lanes_for(std::size_t tap_count) {
    const std::size_t count = WIDTH * vectors_for(tap_count);
    return count < FEWEST_LANES ? FEWEST_LANES : count;
}

// Vectors of lanes from a column on, with coefficients and state held in registers
// as far as there are any.
template <std::size_t TapCount, Numerator Kind, std::size_t LaneCount>
class Columns {
  public:
    static constexpr std::size_t LANE_COUNT = LaneCount;
    static constexpr std::size_t VECTOR_COUNT =
        LANE_COUNT < WIDTH * vectors_for(TapCount) ? LANE_COUNT / WIDTH : vectors_for(TapCount);
    static constexpr std::size_t SIZE = VECTOR_COUNT * WIDTH;

    INLINED void load_from(const LaneFilter& filter, std::size_t column) {
#pragma GCC unroll 16
        for (std::size_t i = 0; i < TapCount; ++i) {
            b_[i] = filter.b[i] - Lanes{};
            a_[i] = filter.a[i] - Lanes{};
        }
#pragma GCC unroll 16
        for (std::size_t v = 0; v < VECTOR_COUNT; ++v) {
#pragma GCC unroll 16
            for (std::size_t i = 0; i < ORDER; ++i) {
                load(z_[v][i], filter.state + i * LANE_COUNT + column + v * WIDTH);
            }
        }
    }

    INLINED void save_to(const LaneFilter& filter, std::size_t column) const {
#pragma GCC unroll 16
        for (std::size_t v = 0; v < VECTOR_COUNT; ++v) {
#pragma GCC unroll 16
            for (std::size_t i = 0; i < ORDER; ++i) {
                store(z_[v][i], filter.state + i * LANE_COUNT + column + v * WIDTH);
            }
        }
    }

    INLINED void step(std::size_t v, const Lanes& x, Lanes& y) {
        Lanes bx[TapCount];
#pragma GCC unroll 16
        for (std::size_t i = 0; i < TapCount; ++i) {
            const bool mirrored = Kind == Numerator::Palindrome && i > ORDER - i;
            bx[i] = mirrored ? bx[ORDER - i] : b_[i] * x;
        }
        y = bx[0] + z_[v][0];
#pragma GCC unroll 16
        for (std::size_t i = 1; i < ORDER; ++i) {
            z_[v][i - 1] = z_[v][i] + bx[i] - a_[i] * y;
        }
        z_[v][ORDER - 1] = bx[ORDER] - a_[ORDER] * y;
    }

  private:
    static constexpr std::size_t ORDER = TapCount - 1;
    Lanes b_[TapCount];
    Lanes a_[TapCount];
    Lanes z_[VECTOR_COUNT][ORDER];
};

template <std::size_t LaneCount>
class Columns<ANY_TAP_COUNT, Numerator::Any, LaneCount> {
  public:
    static constexpr std::size_t LANE_COUNT = LaneCount;
    static constexpr std::size_t VECTOR_COUNT = 1;
    static constexpr std::size_t SIZE = WIDTH;

    void load_from(const LaneFilter& filter, std::size_t column) {
        filter_ = filter;
        column_ = column;
    }
    void save_to(const LaneFilter&, std::size_t) const {}

    INLINED void step(std::size_t, const Lanes& x, Lanes& y) {
        const std::size_t order = filter_.tap_count - 1;
        double* z = filter_.state + column_;
        Lanes next;
        load(next, z);
        y = filter_.b[0] * x + next;
        for (std::size_t i = 1; i < order; ++i) {
            load(next, z + LANE_COUNT);
            store(next + filter_.b[i] * x - filter_.a[i] * y, z);
            z += LANE_COUNT;
        }
        store(filter_.b[order] * x - filter_.a[order] * y, z);
    }

  private:
    LaneFilter filter_{}; // a copy, which no row overwrites
    std::size_t column_ = 0;
};

// All columns of the lanes, from the state of the filter until it is saved there again.
template <class Column>
class AllColumns {
  public:
    INLINED explicit AllColumns(const LaneFilter& filter) : filter_(filter) {
#pragma GCC unroll 2
        for (std::size_t i = 0; i < COUNT; ++i) {
            columns_[i].load_from(filter_, i * Column::SIZE);
        }
    }
    template <class Visit>
    INLINED void for_each(Visit visit) {
#pragma GCC unroll 2
        for (std::size_t i = 0; i < COUNT; ++i) {
            visit(columns_[i], i * Column::SIZE);
        }
    }
    INLINED void save() const {
#pragma GCC unroll 2
        for (std::size_t i = 0; i < COUNT; ++i) {
            columns_[i].save_to(filter_, i * Column::SIZE);
        }
    }

  private:
    static constexpr std::size_t COUNT = Column::LANE_COUNT / Column::SIZE;
    const LaneFilter& filter_;
    Column columns_[COUNT];
};

constexpr std::size_t CACHE_LINE = 64;

// What is upcoming with a tile, or the tile itself where nothing is: a loop that has to choose is
// made twice, and slower for long filters. The second-level cache is asked for one lane with each
// row: all lanes at once would keep the rows waiting behind them.
template <std::size_t LaneCount, class Sample>
class UpcomingTile {
  public:
    INLINED UpcomingTile(const Upcoming<Sample>* upcoming, const Sample* const* lines,
                         std::ptrdiff_t position)
        : addresses_(upcoming != nullptr ? upcoming->addresses : lines),
          offset_(position / as_step(TILE_ROWS) *
                  (upcoming != nullptr ? upcoming->step : as_step(TILE_ROWS))) {}

    INLINED void ask_for_lane_of(std::size_t row) const {
        constexpr std::size_t IN_LINE = CACHE_LINE / sizeof(Sample);
        constexpr int SECOND_LEVEL = 2;
        const Sample* const samples = addresses_[row % LaneCount] + offset_;
        for (std::size_t sample = 0; sample < TILE_ROWS; sample += IN_LINE) {
            __builtin_prefetch(samples + sample, 0, SECOND_LEVEL);
        }
    }

  private:
    const Sample* const* addresses_;
    std::ptrdiff_t offset_;
};

// Where the tile begins whose samples are wanted from `position` on.
inline std::ptrdiff_t tile_begin(std::ptrdiff_t position, std::ptrdiff_t row_count) {
    constexpr std::ptrdiff_t ROWS = as_step(TILE_ROWS);
    return position + ROWS <= row_count ? position : row_count - ROWS;
}

template <class Column, bool KeepsRows, class Sample>
void filter_tiles_forward(const LaneFilter& filter, const Sample* const* lines,
                          std::ptrdiff_t row_count, double* rows,
                          const Upcoming<Sample>* upcoming) {
    constexpr std::size_t LANE_COUNT = Column::LANE_COUNT;
    AllColumns<Column> all(filter);
    for (std::ptrdiff_t position = 0; position < row_count; position += as_step(TILE_ROWS)) {
        const std::ptrdiff_t begin = tile_begin(position, row_count);
        alignas(64) Sample tile[TILE_ROWS * LANE_COUNT];
        read_tile<LANE_COUNT>(lines, begin, tile);
        const UpcomingTile<LANE_COUNT, Sample> wanted(upcoming, lines, begin);
        double* const out = KeepsRows ? rows + begin * as_step(LANE_COUNT) : nullptr;
        all.for_each([&](Column& columns, std::size_t column) {
#pragma GCC unroll 1
            for (auto row = static_cast<std::size_t>(position - begin); row < TILE_ROWS; ++row) {
                const std::size_t place = row * LANE_COUNT + column;
                if (column == 0) {
                    wanted.ask_for_lane_of(row);
                }
#pragma GCC unroll 16
                for (std::size_t v = 0; v < Column::VECTOR_COUNT; ++v) {
                    Lanes x;
                    Lanes y;
                    load_widened(x, tile + place + v * WIDTH);
                    columns.step(v, x, y);
                    if constexpr (KeepsRows) {
                        store(y, out + place + v * WIDTH);
                    }
                }
            }
        });
    }
    all.save();
}

template <class Column, bool WritesLines, class Sample>
void filter_tiles_backward(const LaneFilter& filter, const double* rows, std::ptrdiff_t row_count,
                           Sample* const* lines, const Upcoming<Sample>* upcoming) {
    constexpr std::size_t LANE_COUNT = Column::LANE_COUNT;
    constexpr std::ptrdiff_t ROWS = as_step(TILE_ROWS);
    AllColumns<Column> all(filter);
    for (std::ptrdiff_t end = row_count, position = 0; end > 0; end = position) {
        position = (end - 1) / ROWS * ROWS;
        const std::ptrdiff_t begin = tile_begin(position, row_count);
        const double* in = rows + begin * as_step(LANE_COUNT);
        alignas(64) Sample tile[TILE_ROWS * LANE_COUNT];
        const UpcomingTile<LANE_COUNT, Sample> wanted(upcoming, lines, begin);
        all.for_each([&](Column& columns, std::size_t column) {
            const auto first = static_cast<std::size_t>(position - begin);
#pragma GCC unroll 1
            for (std::size_t last = TILE_ROWS; last > first; --last) {
                const std::size_t place = (last - 1) * LANE_COUNT + column;
                if (WritesLines && column == 0) {
                    wanted.ask_for_lane_of(last - 1);
                }
#pragma GCC unroll 16
                for (std::size_t v = 0; v < Column::VECTOR_COUNT; ++v) {
                    Lanes x;
                    Lanes y;
                    load(x, in + place + v * WIDTH);
                    columns.step(v, x, y);
                    if constexpr (WritesLines) {
                        store_narrowed(y, tile + place + v * WIDTH);
                    }
                }
            }
        });
        if constexpr (WritesLines) {
            write_tile<LANE_COUNT>(tile, lines, begin);
        }
    }
    all.save();
}

template <class Column>
void filter_rows_in_place(const LaneFilter& filter, double* rows, std::size_t row_count,
                          std::ptrdiff_t row_step) {
    for (std::size_t column = 0; column < Column::LANE_COUNT; column += Column::SIZE) {
        Column columns;
        columns.load_from(filter, column);
        double* row = rows + column;
        for (std::size_t left = row_count; left > 0; --left) {
#pragma GCC unroll 16
            for (std::size_t v = 0; v < Column::VECTOR_COUNT; ++v) {
                Lanes x;
                Lanes y;
                load(x, row + v * WIDTH);
                columns.step(v, x, y);
                store(y, row + v * WIDTH);
            }
            row += row_step;
        }
        columns.save_to(filter, column);
    }
}

// ---------------------------------------------------------------------------
// The choice of the loop.

bool is_palindrome(const LaneFilter& filter) {
    for (std::size_t i = 0; i < filter.tap_count / 2; ++i) {
        const double* mirrored = filter.b + filter.tap_count - 1 - i;
        if (__builtin_memcmp(filter.b + i, mirrored, sizeof *mirrored) != 0) {
            return false;
        }
    }
    return true;
}

// With SSE2, whose registers are few and whose instructions overwrite an operand, the shared
// products of a long filter would be spilt.
constexpr bool KEEPS_SHARED_PRODUCTS = WIDTH > 2 || TALVORA_X86_64 == 0;

template <class Column>
struct ColumnOf {
    using Type = Column;
};

template <std::size_t TapCount, std::size_t LaneCount, class Visit>
void with_columns_of_kind(const LaneFilter& filter, Visit visit) {
    if ((KEEPS_SHARED_PRODUCTS || TapCount <= 5) && is_palindrome(filter)) {
        visit(ColumnOf<Columns<TapCount, Numerator::Palindrome, LaneCount>>());
    } else {
        visit(ColumnOf<Columns<TapCount, Numerator::Any, LaneCount>>());
    }
}

template <std::size_t TapCount, std::size_t LaneCount = most_lanes_for(TapCount), class Visit>
void with_columns_for(const LaneFilter& filter, Visit visit) {
    if constexpr (LaneCount > FEWEST_LANES) {
        if (filter.lane_count < LaneCount) {
            return with_columns_for<TapCount, LaneCount / 2>(filter, visit);
        }
    }
    with_columns_of_kind<TapCount, LaneCount>(filter, visit);
}

// Calls visit with the type of the columns for the filter.
template <class Visit>
void with_columns(const LaneFilter& filter, Visit visit) {
    switch (filter.tap_count) {
    case 2:
        return with_columns_for<2>(filter, visit);
    case 3:
        return with_columns_for<3>(filter, visit);
    case 4:
        return with_columns_for<4>(filter, visit);
    case 5:
        return with_columns_for<5>(filter, visit);
    case 6:
        return with_columns_for<6>(filter, visit);
    case 7:
        return with_columns_for<7>(filter, visit);
    case 8:
        return with_columns_for<8>(filter, visit);
    case MOST_TAPS_IN_REGISTERS:
        return with_columns_for<MOST_TAPS_IN_REGISTERS>(filter, visit);
    default:
        return visit(ColumnOf<Columns<ANY_TAP_COUNT, Numerator::Any, FEWEST_LANES>>());
    }
}

std::size_t lane_count(std::size_t tap_count, std::size_t line_count) {
    const std::size_t most =
        most_lanes_for(tap_count > MOST_TAPS_IN_REGISTERS ? ANY_TAP_COUNT : tap_count);
    std::size_t count = FEWEST_LANES;
    while (count < most && count < line_count) {
        count *= 2;
    }
    return count;
}

template <class Sample>
void filter_forward(const LaneFilter& filter, const Sample* const* lines, std::size_t row_count,
                    double* rows, const Upcoming<Sample>* upcoming) {
    with_columns(filter, [&]<class Column>(ColumnOf<Column>) {
        if (rows != nullptr) {
            filter_tiles_forward<Column, true>(filter, lines, as_step(row_count), rows, upcoming);
        } else {
            filter_tiles_forward<Column, false>(filter, lines, as_step(row_count), rows, upcoming);
        }
    });
}

template <class Sample>
void filter_backward(const LaneFilter& filter, const double* rows, std::size_t row_count,
                     Sample* const* lines, const Upcoming<Sample>* upcoming) {
    with_columns(filter, [&]<class Column>(ColumnOf<Column>) {
        if (lines != nullptr) {
            filter_tiles_backward<Column, true>(filter, rows, as_step(row_count), lines, upcoming);
        } else {
            filter_tiles_backward<Column, false>(filter, rows, as_step(row_count), lines, upcoming);
        }
    });
}

void filter_rows(const LaneFilter& filter, double* rows, std::size_t row_count,
                 std::ptrdiff_t row_step) {
    with_columns(filter, [&]<class Column>(ColumnOf<Column>) {
        filter_rows_in_place<Column>(filter, rows, row_count, row_step);
    });
}

template <class Sample>
constexpr LaneKernels<Sample> KERNELS = {WIDTH, lane_count, filter_forward<Sample>,
                                         filter_backward<Sample>, filter_rows};

} // namespace

} // namespace talvora::dsp

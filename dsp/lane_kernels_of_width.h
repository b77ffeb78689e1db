// The loops of lane_kernels.h for vectors of LANE_WIDTH doubles. Included by one
// source per instruction set, which defines LANE_WIDTH first; everything here has
// internal linkage, so that each source keeps its own copy.
#pragma once

#include "dsp/lane_kernels.h"

#ifdef __AVX__
#include <immintrin.h>
#endif

namespace talvora::dsp {

namespace {

constexpr std::size_t WIDTH = LANE_WIDTH;

#if LANE_WIDTH == 1
using Lanes = double;
#else
using Lanes = double __attribute__((vector_size(LANE_WIDTH * sizeof(double))));
#endif
using FourFloats = float __attribute__((vector_size(16)));
using FourDoubles = double __attribute__((vector_size(32)));

// Between registers and any address that holds an element. By reference, because how
// wide vectors are returned depends on the instruction set.
template <class Vector, class Element>
inline void load(Vector& vector, const Element* address) {
    __builtin_memcpy(&vector, address, sizeof vector);
}
template <class Vector, class Element>
inline void store(const Vector& vector, Element* address) {
    __builtin_memcpy(address, &vector, sizeof vector);
}

// The numerators of most designs read the same from both ends: half of their products
// with a sample are the others once more.
enum class Numerator { Any, Palindrome };

// Rows of state between registers and memory; unrolled, so that they stay in registers.
template <std::size_t VectorCount, std::size_t Order>
inline void load_state(Lanes (&z)[VectorCount][Order], const double* state, std::size_t stride) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < VectorCount; ++v) {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < Order; ++i) {
            load(z[v][i], state + i * stride + v * WIDTH);
        }
    }
}
template <std::size_t VectorCount, std::size_t Order>
inline void store_state(const Lanes (&z)[VectorCount][Order], double* state, std::size_t stride) {
#pragma GCC unroll 8
    for (std::size_t v = 0; v < VectorCount; ++v) {
#pragma GCC unroll 8
        for (std::size_t i = 0; i < Order; ++i) {
            store(z[v][i], state + i * stride + v * WIDTH);
        }
    }
}

// `VectorCount` registers of lanes from the column on, with coefficients and state held
// in registers as far as there are any. A step waits for the one before through a
// multiplication, a subtraction and an addition: vectors side by side fill that time.
template <std::size_t VectorCount, std::size_t TapCount, Numerator Kind>
void filter_columns(const RowPass& pass, std::size_t column) {
    constexpr std::size_t ORDER = TapCount - 1;
    Lanes b[TapCount];
    Lanes a[TapCount];
    for (std::size_t i = 0; i < TapCount; ++i) {
        b[i] = pass.b[i] - Lanes{};
        a[i] = pass.a[i] - Lanes{};
    }
    Lanes z[VectorCount][ORDER];
    load_state(z, pass.state + column, pass.lane_count);
    const double* in = pass.in + column;
    double* out = pass.out + column;
    const std::ptrdiff_t row_step = pass.row_step;
    for (std::size_t rows_left = pass.row_count; rows_left > 0; --rows_left) {
        for (std::size_t v = 0; v < VectorCount; ++v) {
            Lanes x;
            load(x, in + v * WIDTH);
            Lanes bx[TapCount];
            bx[0] = b[0] * x;
            const Lanes y = bx[0] + z[v][0];
            for (std::size_t i = 1; i < TapCount; ++i) {
                const bool mirrored = Kind == Numerator::Palindrome && i > ORDER - i;
                bx[i] = mirrored ? bx[ORDER - i] : b[i] * x;
                z[v][i - 1] = i < ORDER ? z[v][i] + bx[i] - a[i] * y : bx[i] - a[i] * y;
            }
            store(y, out + v * WIDTH);
        }
        in += row_step;
        out += row_step;
    }
    store_state(z, pass.state + column, pass.lane_count);
}

// Any number of taps, with the state in memory.
void filter_columns_of_any_order(const RowPass& pass, std::size_t column) {
    const std::size_t order = pass.tap_count - 1;
    const double* in = pass.in + column;
    double* out = pass.out + column;
    for (std::size_t row = 0; row < pass.row_count; ++row) {
        double* z = pass.state + column;
        Lanes x;
        Lanes next;
        load(x, in);
        load(next, z);
        const Lanes y = pass.b[0] * x + next;
        for (std::size_t i = 1; i < order; ++i) {
            load(next, z + pass.lane_count);
            store(next + pass.b[i] * x - pass.a[i] * y, z);
            z += pass.lane_count;
        }
        store(pass.b[order] * x - pass.a[order] * y, z);
        store(y, out);
        in += pass.row_step;
        out += pass.row_step;
    }
}

// Vectors in flight: longer filters have more to do in a step, and leave fewer registers.
constexpr std::size_t vectors_for(std::size_t tap_count) {
    if (tap_count <= 3) {
        return 4;
    }
    return tap_count <= 6 ? 2 : 1;
}

std::size_t lanes_at_once(std::size_t tap_count) {
    constexpr std::size_t FEWEST = 4; // lines are widened by fours
    const std::size_t count = WIDTH * vectors_for(tap_count);
    if (count < FEWEST) {
        return FEWEST;
    }
    return count < MAX_LANE_COUNT ? count : MAX_LANE_COUNT;
}

template <std::size_t VectorCount, std::size_t TapCount, Numerator Kind>
void filter_all_columns(const RowPass& pass, std::size_t column) {
    for (; column + VectorCount * WIDTH <= pass.lane_count; column += VectorCount * WIDTH) {
        filter_columns<VectorCount, TapCount, Kind>(pass, column);
    }
    if constexpr (VectorCount > 1) {
        filter_all_columns<VectorCount / 2, TapCount, Kind>(pass, column);
    }
}

bool is_palindrome(const double* b, std::size_t tap_count) {
    for (std::size_t i = 0; i < tap_count / 2; ++i) {
        if (__builtin_memcmp(b + i, b + tap_count - 1 - i, sizeof *b) != 0) {
            return false;
        }
    }
    return true;
}

template <std::size_t TapCount>
void filter_rows_of_taps(const RowPass& pass) {
    constexpr std::size_t VECTORS = vectors_for(TapCount);
    // With few registers and instructions that overwrite an operand, the shared products of a
    // long filter would be spilt.
    if ((WIDTH > 2 || TapCount <= 5) && is_palindrome(pass.b, TapCount)) {
        filter_all_columns<VECTORS, TapCount, Numerator::Palindrome>(pass, 0);
    } else {
        filter_all_columns<VECTORS, TapCount, Numerator::Any>(pass, 0);
    }
}

void filter_rows(const RowPass& pass) {
    switch (pass.tap_count) {
    case 2:
        return filter_rows_of_taps<2>(pass);
    case 3:
        return filter_rows_of_taps<3>(pass);
    case 4:
        return filter_rows_of_taps<4>(pass);
    case 5:
        return filter_rows_of_taps<5>(pass);
    case 6:
        return filter_rows_of_taps<6>(pass);
    case 7:
        return filter_rows_of_taps<7>(pass);
    case 8:
        return filter_rows_of_taps<8>(pass);
    case 9:
        return filter_rows_of_taps<9>(pass);
    default:
        for (std::size_t column = 0; column < pass.lane_count; column += WIDTH) {
            filter_columns_of_any_order(pass, column);
        }
    }
}

// A 4 x 4 matrix turned about its diagonal.
inline void transpose(FourFloats (&m)[4]) {
    const FourFloats low01 = __builtin_shufflevector(m[0], m[1], 0, 4, 1, 5);
    const FourFloats high01 = __builtin_shufflevector(m[0], m[1], 2, 6, 3, 7);
    const FourFloats low23 = __builtin_shufflevector(m[2], m[3], 0, 4, 1, 5);
    const FourFloats high23 = __builtin_shufflevector(m[2], m[3], 2, 6, 3, 7);
    m[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
    m[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
    m[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
    m[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
}

// In one instruction where there is one: GCC would make two of the portable form.
inline void widen(const FourFloats& narrow, FourDoubles& wide) {
#ifdef __AVX__
    wide = _mm256_cvtps_pd(narrow);
#else
    wide = __builtin_convertvector(narrow, FourDoubles);
#endif
}

void widen_lines(const float* const lines[4], std::size_t row_count, double* column,
                 std::size_t row_stride) {
    for (std::size_t line = 0; line < 4; ++line) {
        for (std::size_t ahead = row_count; ahead < 2 * row_count; ahead += 16) {
            __builtin_prefetch(lines[line] + ahead);
        }
    }
    const float* const line0 = lines[0];
    const float* const line1 = lines[1];
    const float* const line2 = lines[2];
    const float* const line3 = lines[3];
    std::size_t row = 0;
    for (; row + 4 <= row_count; row += 4) {
        FourFloats m[4];
        load(m[0], line0 + row);
        load(m[1], line1 + row);
        load(m[2], line2 + row);
        load(m[3], line3 + row);
        transpose(m);
        for (std::size_t i = 0; i < 4; ++i) {
            FourDoubles wide;
            widen(m[i], wide);
            store(wide, column + (row + i) * row_stride);
        }
    }
    for (; row < row_count; ++row) {
        for (std::size_t line = 0; line < 4; ++line) {
            column[row * row_stride + line] = static_cast<double>(lines[line][row]);
        }
    }
}

void narrow_lines(const double* column, std::size_t row_count, std::size_t row_stride,
                  float* const lines[4]) {
    std::size_t row = 0;
    for (; row + 4 <= row_count; row += 4) {
        FourFloats m[4];
        for (std::size_t i = 0; i < 4; ++i) {
            FourDoubles wide;
            load(wide, column + (row + i) * row_stride);
            m[i] = __builtin_convertvector(wide, FourFloats);
        }
        transpose(m);
        for (std::size_t line = 0; line < 4; ++line) {
            store(m[line], lines[line] + row);
        }
    }
    for (; row < row_count; ++row) {
        for (std::size_t line = 0; line < 4; ++line) {
            lines[line][row] = static_cast<float>(column[row * row_stride + line]);
        }
    }
}

} // namespace

} // namespace talvora::dsp

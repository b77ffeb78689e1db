// What the loops of dsp/ do with vectors of samples. Most of it is the compiler's for every
// processor; where one has an instruction that the compiler does not find, it is named here.
//
// This header is read by sources built for wider instruction sets: everything here has internal
// linkage, so that each source keeps its own copy.
#pragma once

#include "dsp/missing_samples.h"
#include "dsp/processor.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#if TALVORA_X86_64
#include <immintrin.h>
#else
#include <arm_neon.h>
#endif

namespace talvora::dsp {

namespace {

template <class Element, std::size_t Count>
struct VectorOf {
    typedef Element Type __attribute__((vector_size(Count * sizeof(Element)))); // NOLINT: GCC 12
};

// What fills a register of the baseline, and all bits of its elements or none.
template <class Element>
struct BaselineVectorOf;
template <>
struct BaselineVectorOf<float> {
    using Type = VectorOf<float, 4>::Type;
    using Mask = VectorOf<std::int32_t, 4>::Type;
};
template <>
struct BaselineVectorOf<double> {
    using Type = VectorOf<double, 2>::Type;
    using Mask = VectorOf<std::int64_t, 2>::Type;
};
using Floats = BaselineVectorOf<float>::Type;
using FloatMask = BaselineVectorOf<float>::Mask;
using Doubles = BaselineVectorOf<double>::Type;
using DoubleMask = BaselineVectorOf<double>::Mask;

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

// Samples are widened when they are read and narrowed when they are written.
template <class Wide, class Sample>
inline void load_widened(Wide& lanes, const Sample* samples) {
    typename VectorOf<Sample, sizeof(Wide) / sizeof(double)>::Type narrow;
    load(narrow, samples);
    lanes = __builtin_convertvector(narrow, Wide);
}
// In one instruction: GCC makes more of the portable form, and warns of its own header where no
// mask is given.
#if defined(__AVX512F__)
inline void load_widened(VectorOf<double, 8>::Type& lanes, const float* samples) {
    lanes = _mm512_maskz_cvtps_pd(0xFF, _mm256_loadu_ps(samples));
}
#endif
#if defined(__AVX__)
inline void load_widened(VectorOf<double, 4>::Type& lanes, const float* samples) {
    lanes = _mm256_cvtps_pd(_mm_loadu_ps(samples));
}
#endif
#if TALVORA_X86_64
inline void load_widened(VectorOf<double, 2>::Type& lanes, const float* samples) {
    lanes = _mm_cvtps_pd(_mm_castsi128_ps(_mm_loadu_si64(samples)));
}
#else
inline void load_widened(VectorOf<double, 2>::Type& lanes, const float* samples) {
    lanes = vcvt_f64_f32(vld1_f32(samples));
}
#endif
template <class Wide>
inline void load_widened(Wide& lanes, const double* samples) {
    load(lanes, samples);
}
template <class Wide, class Sample>
inline void store_narrowed(const Wide& lanes, Sample* samples) {
    using Narrow = typename VectorOf<Sample, sizeof(Wide) / sizeof(double)>::Type;
    const Narrow narrow = __builtin_convertvector(lanes, Narrow);
    store(narrow, samples);
}
template <class Wide>
inline void store_narrowed(const Wide& lanes, double* samples) {
    store(lanes, samples);
}

// Where a sample is NaN the total stays, which never is: the processors' own maxima differ there.
inline void take_greater(Floats& totals, const Floats& samples) {
    totals = samples > totals ? samples : totals;
}

// Where one of the two is NaN.
inline void find_missing(const Floats& left, const Floats& right, FloatMask& found) {
#if TALVORA_X86_64
    found = reinterpret_cast<FloatMask>(_mm_cmpunord_ps(left, right)); // in one comparison
#else
    // NaN alone is not itself.
    // cppcheck-suppress duplicateExpression
    found = (left != left) | (right != right); // NOLINT(misc-redundant-expression)
#endif
}
inline void find_missing(const Doubles& left, const Doubles& right, DoubleMask& found) {
#if TALVORA_X86_64
    found = reinterpret_cast<DoubleMask>(_mm_cmpunord_pd(left, right));
#else
    // cppcheck-suppress duplicateExpression
    found = (left != left) | (right != right); // NOLINT(misc-redundant-expression)
#endif
}

inline bool has_any(const FloatMask& mask) {
#if TALVORA_X86_64
    return _mm_movemask_ps(reinterpret_cast<Floats>(mask)) != 0;
#else
    const auto halves = reinterpret_cast<VectorOf<std::int64_t, 2>::Type>(mask);
    return (halves[0] | halves[1]) != 0;
#endif
}
inline bool has_any(const DoubleMask& mask) {
#if TALVORA_X86_64
    return _mm_movemask_pd(reinterpret_cast<Doubles>(mask)) != 0;
#else
    return (mask[0] | mask[1]) != 0;
#endif
}

// NaN that arose from numbers, as samples that cannot be produced are written.
template <class Vector>
inline void settle_missing(Vector& samples) {
    if constexpr (!MAKES_MISSING_SAMPLES) {
        using Sample = std::remove_cvref_t<decltype(samples[0])>;
        // NaN alone is not itself.
        // cppcheck-suppress duplicateExpression
        const auto is_number = samples == samples; // NOLINT(misc-redundant-expression)
        samples = is_number ? samples : MISSING_SAMPLE_OF<Sample> - Vector{};
    }
}

} // namespace

} // namespace talvora::dsp

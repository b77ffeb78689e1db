// The padding of a run for zero-phase filtering: its samples turned about its first and last one.
#pragma once

#include <cstddef>
#include <span>

namespace talvora::dsp {

// `pad_count` samples in the order of time, `stride` apart, that come before the run or after it,
// which has more samples than that.
void reflect_before(std::span<const float> run, std::size_t pad_count, double* padding,
                    std::size_t stride);
void reflect_before(std::span<const double> run, std::size_t pad_count, double* padding,
                    std::size_t stride);
void reflect_after(std::span<const float> run, std::size_t pad_count, double* padding,
                   std::size_t stride);
void reflect_after(std::span<const double> run, std::size_t pad_count, double* padding,
                   std::size_t stride);

} // namespace talvora::dsp

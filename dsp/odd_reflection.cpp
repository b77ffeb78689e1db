#include "dsp/odd_reflection.h"

namespace talvora::dsp {

namespace {

template <class Sample>
void reflect_samples_before(std::span<const Sample> run, std::size_t pad_count, double* padding,
                            std::size_t stride) {
    const double twice = 2.0 * static_cast<double>(run.front());
    for (std::size_t i = 0; i < pad_count; ++i) {
        padding[i * stride] = twice - static_cast<double>(run[pad_count - i]);
    }
}

template <class Sample>
void reflect_samples_after(std::span<const Sample> run, std::size_t pad_count, double* padding,
                           std::size_t stride) {
    const double twice = 2.0 * static_cast<double>(run.back());
    for (std::size_t i = 0; i < pad_count; ++i) {
        padding[i * stride] = twice - static_cast<double>(run[run.size() - 2 - i]);
    }
}

} // namespace

void reflect_before(std::span<const float> run, std::size_t pad_count, double* padding,
                    std::size_t stride) {
    reflect_samples_before(run, pad_count, padding, stride);
}

void reflect_before(std::span<const double> run, std::size_t pad_count, double* padding,
                    std::size_t stride) {
    reflect_samples_before(run, pad_count, padding, stride);
}

void reflect_after(std::span<const float> run, std::size_t pad_count, double* padding,
                   std::size_t stride) {
    reflect_samples_after(run, pad_count, padding, stride);
}

void reflect_after(std::span<const double> run, std::size_t pad_count, double* padding,
                   std::size_t stride) {
    reflect_samples_after(run, pad_count, padding, stride);
}

} // namespace talvora::dsp

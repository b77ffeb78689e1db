#include "dsp/odd_reflection.h"

namespace talvora::dsp {

void reflect_before(std::span<const float> run, std::size_t pad_count, double* padding,
                    std::size_t stride) {
    const double twice = 2.0 * static_cast<double>(run.front());
    for (std::size_t i = 0; i < pad_count; ++i) {
        padding[i * stride] = twice - static_cast<double>(run[pad_count - i]);
    }
}

void reflect_after(std::span<const float> run, std::size_t pad_count, double* padding,
                   std::size_t stride) {
    const double twice = 2.0 * static_cast<double>(run.back());
    for (std::size_t i = 0; i < pad_count; ++i) {
        padding[i * stride] = twice - static_cast<double>(run[run.size() - 2 - i]);
    }
}

} // namespace talvora::dsp

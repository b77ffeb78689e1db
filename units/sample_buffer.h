// A working buffer of samples, zero when it is allocated.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

namespace talvora::units {

// Room for `sample_count` floats, of which the caller uses what it needs. Large
// buffers come zeroed from the system, so that pages nobody touches cost nothing.
// Throws std::bad_alloc.
class SampleBuffer {
  public:
    SampleBuffer() = default;
    explicit SampleBuffer(std::uint64_t sample_count)
        : samples_(allocate(sample_count)), sample_count_(sample_count) {}

    std::span<float> samples() const noexcept { return {samples_.get(), sample_count_}; }

  private:
    struct Free {
        void operator()(float* samples) const noexcept { std::free(samples); }
    };

    static float* allocate(std::uint64_t sample_count);

    std::unique_ptr<float[], Free> samples_;
    std::uint64_t sample_count_ = 0;
};

} // namespace talvora::units

// A function that long work calls now and then, as to ask whether it is to go on.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>

namespace talvora::dsp {

class Pauses {
  public:
    // Between two calls. Passing so many takes a millisecond, of filters of a thousand taps half a
    // second.
    static constexpr std::size_t SAMPLES_APART = std::size_t{256} << 10U;

    Pauses() = default;
    explicit Pauses(std::function<void()> pause) : pause_(std::move(pause)) {}

    // To be told of the samples that are passed, as they are or before.
    void pass(std::size_t sample_count) {
        sample_count_ += sample_count;
        if (sample_count_ >= SAMPLES_APART) {
            sample_count_ = 0;
            if (pause_) {
                pause_();
            }
        }
    }

  private:
    std::function<void()> pause_; // or none
    std::size_t sample_count_ = 0;
};

} // namespace talvora::dsp

#include "dsp/lane_scratch.h"

namespace talvora::dsp {

double* RowBuffer::reserve(std::size_t count) {
    constexpr std::size_t PER_LINE = sizeof(CacheLine) / sizeof(double);
    const std::size_t line_count = (count + PER_LINE - 1) / PER_LINE;
    if (line_count > line_count_) {
        lines_.reset();
        line_count_ = 0;
        lines_ = std::make_unique_for_overwrite<CacheLine[]>(line_count);
        line_count_ = line_count;
    }
    return line_count_ > 0 ? lines_[0].values : nullptr;
}

} // namespace talvora::dsp

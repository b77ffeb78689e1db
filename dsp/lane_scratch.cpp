#include "dsp/lane_scratch.h"

#include <algorithm>

namespace talvora::dsp {

double* RowBuffer::reserve(std::size_t count) {
    constexpr std::size_t PER_LINE = sizeof(CacheLine) / sizeof(double);
    const std::size_t line_count = std::max<std::size_t>((count + PER_LINE - 1) / PER_LINE, 1);
    if (line_count > line_count_) {
        lines_.reset();
        line_count_ = 0;
        lines_ = std::make_unique_for_overwrite<CacheLine[]>(line_count);
        line_count_ = line_count;
    }
    return line_count_ > 0 ? lines_[0].values : nullptr;
}

} // namespace talvora::dsp

// Where an axis of a picture has its ticks, and what stands beside them.
#pragma once

#include <string>
#include <vector>

namespace talvora::host {

struct AxisRange {
    double from = 0.0; // finite, from < to; above 0 when logarithmic
    double to = 1.0;
    bool logarithmic = false;
};

struct AxisTick {
    double value = 0.0;
    std::string label; // empty for a minor tick
};

// In ascending order. Linear: some six at multiples of 1, 2 or 5 times a power of ten.
// Logarithmic: the multiples 1 to 9 of each power of ten, labelled at the power, and
// over two decades and less at 2 and 5 too.
std::vector<AxisTick> place_ticks(const AxisRange& range);

// The smallest range between linear ticks that holds both values; around one value, or
// around none where they are not finite, a range of 1.
AxisRange fit_range(double least, double greatest);

} // namespace talvora::host

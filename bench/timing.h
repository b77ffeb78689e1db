// What benchmarks measure with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <vector>

namespace talvora::bench {

// Time on the processor: what other programs take of it does not count.
inline double thread_seconds() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

template <typename Work>
double time_of(Work&& work) {
    const double start = thread_seconds();
    work();
    return thread_seconds() - start;
}

// Of an even number of values, the upper one of the two in the middle.
inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

} // namespace talvora::bench

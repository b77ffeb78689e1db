// Samples that are filtered: where they are read, and where their results are written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

namespace talvora::dsp {

// Samples that follow each other, and as many that become of them: the very same, in place, or
// others, which share no memory with any that are read.
template <class Sample>
struct Run {
    const Sample* from = nullptr;
    Sample* to = nullptr;
    std::size_t length = 0;

    bool is_in_place() const { return from == to; }
    std::span<const Sample> source() const { return {from, length}; }
    std::span<Sample> target() const { return {to, length}; }
    Run part(std::size_t start, std::size_t count) const {
        return {from + start, to + start, count};
    }
    Run behind(std::size_t start) const { return part(start, length - start); }
};

// Of floats or doubles.
template <class Sample>
using Runs = std::span<const Run<Sample>>;

template <class Sample>
Run<Sample> run_in_place(std::span<Sample> samples) {
    return {samples.data(), samples.data(), samples.size()};
}

// For samples that stay as they are.
template <class Sample>
void copy_run(const Run<Sample>& run) {
    if (!run.is_in_place()) {
        std::ranges::copy(run.source(), run.to);
    }
}

} // namespace talvora::dsp

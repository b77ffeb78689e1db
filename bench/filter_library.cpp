#include "bench/filter_library.h"

#include "dsp/filter_set.h"

#include <cstdint>
#include <span>

namespace {

using namespace talvora;

// Loops of before there were any for doubles have a class that is no template.
template <template <class> class Filter>
Filter<float> make_float_filter(dsp::FilterPath path);
template <class Filter>
Filter make_float_filter(dsp::FilterPath path);
using SetFilter = decltype(make_float_filter<dsp::SetFilter>(dsp::FilterPath()));

// Loops of before sets were filtered together take them one by one.
template <class Filter>
void add_set(Filter& filter, std::span<float> samples, std::uint64_t line_length,
             const dsp::FilterCoefficients& coefficients) {
    if constexpr (requires { filter.add(samples, line_length, coefficients); }) {
        filter.add(samples, line_length, coefficients);
    } else {
        filter.filter_in_place(samples, line_length, coefficients);
    }
}

template <class Filter>
void finish(Filter& filter) {
    if constexpr (requires { filter.finish(); }) {
        filter.finish();
    }
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) void* make_filter(int path) {
    const auto wanted = static_cast<dsp::FilterPath>(path);
    return dsp::can_take(wanted) ? new SetFilter(wanted) : nullptr;
}

__attribute__((visibility("default"))) void free_filter(void* filter) {
    delete static_cast<SetFilter*>(filter);
}

__attribute__((visibility("default"))) void
filter_sets(void* filter, float* samples, const bench::SetShape* sets, std::size_t set_count,
            const dsp::FilterCoefficients* coefficients) {
    auto& set_filter = *static_cast<SetFilter*>(filter);
    for (const bench::SetShape& set : std::span(sets, set_count)) {
        const std::uint64_t sample_count = set.line_count * set.line_length;
        add_set(set_filter, {samples, sample_count}, set.line_length, *coefficients);
        samples += sample_count;
    }
    finish(set_filter);
}
}

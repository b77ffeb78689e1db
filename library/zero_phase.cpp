#include "library/zero_phase.h"

#include "dsp/filter_set.h"
#include "dsp/zero_phase_filter.h"
#include "library/call_options.h"
#include "library/guarded_call.h"
#include "library/line_changes.h"
#include "library/versioned_structure.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace talvora::library {
namespace {

constexpr std::string_view SHORT_RUNS = "short_runs of the options";

std::size_t count_taps(const dsp::FilterCoefficients& filter) {
    return std::max(filter.b.size(), filter.a.size());
}

void refuse_short_lines(const ArrayLines& lines, const dsp::Padding& padding) {
    if (lines.line_length() < padding.least_length) {
        throw InvalidArgument(fmt::format("lines have {} samples; with {} added at each end they "
                                          "need {} at least",
                                          lines.line_length(), padding.count,
                                          padding.least_length));
    }
}

dsp::Missing choose_missing(talvora_missing missing) {
    return missing == TALVORA_PROPAGATE ? dsp::Missing::Propagate : dsp::Missing::Omit;
}

// What all threads found.
struct AllShortRuns {
    std::atomic<std::uint64_t> left_samples = 0;
    std::atomic<std::uint64_t> erased_samples = 0;

    void add(const dsp::ShortRuns& found) {
        left_samples += found.left_samples;
        erased_samples += found.erased_samples;
    }
};

// What one thread filters with.
template <class Sample>
struct LineFilter {
    dsp::ShortRuns short_runs;
    dsp::SetFilter<Sample> set_filter;

    LineFilter(const talvora_filter_options& options, const AskToGoOn& ask)
        : set_filter(dsp::best_filter_path(), choose_missing(options.missing), ask,
                     options.short_runs == nullptr ? nullptr : &short_runs) {}
};

template <class Sample>
void filter_lines(const ArrayLines& lines, const talvora_filter_options& options,
                  const dsp::FilterCoefficients& filter, std::optional<std::size_t> pad_count,
                  AllShortRuns& short_runs) {
    change_lines<Sample>(lines, options, [&](const AskToGoOn& ask) -> LineChange<Sample> {
        const auto own = std::make_shared<LineFilter<Sample>>(options, ask);
        return [&, own](dsp::Runs<Sample> block) {
            for (const dsp::Run<Sample>& line : block) {
                own->set_filter.add(line.source(), line.target(), line.length, filter, pad_count);
            }
            own->set_filter.finish();
            short_runs.add(std::exchange(own->short_runs, {}));
        };
    });
}

void tell_short_runs(const AllShortRuns& found, const dsp::Padding& padding,
                     talvora_short_runs* told) {
    write_structure(
        talvora_short_runs{.struct_size = sizeof(talvora_short_runs),
                           .least_length = static_cast<std::int64_t>(padding.least_length),
                           .left_samples = static_cast<std::int64_t>(found.left_samples),
                           .erased_samples = static_cast<std::int64_t>(found.erased_samples)},
        told, SHORT_RUNS);
}

} // namespace

void filter_array(const dsp::FilterCoefficients& filter, const talvora_array* in,
                  const talvora_array* out, const talvora_filter_options* options) {
    const talvora_filter_options chosen = read_options(options);
    if (chosen.short_runs != nullptr) {
        check_structure(chosen.short_runs, SHORT_RUNS);
    }
    const ArrayView from = read_array(in, "in");
    const ArrayLines lines(from, read_array(out, "out"), chosen.axis);
    const auto pad_count = choose_pad_count(chosen.pad, count_taps(filter));
    const dsp::Padding padding = dsp::padding_for(count_taps(filter), pad_count);
    if (chosen.short_lines == TALVORA_REFUSE_SHORT) {
        refuse_short_lines(lines, padding);
    }
    AllShortRuns short_runs;
    (from.type == TALVORA_FLOAT64 ? filter_lines<double> : filter_lines<float>)(lines, chosen,
                                                                                filter, pad_count,
                                                                                short_runs);
    if (chosen.short_runs != nullptr) {
        tell_short_runs(short_runs, padding, chosen.short_runs);
    }
}

} // namespace talvora::library

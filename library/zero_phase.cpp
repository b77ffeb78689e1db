#include "library/zero_phase.h"

#include "dsp/filter_set.h"
#include "dsp/zero_phase_filter.h"
#include "library/call_options.h"
#include "library/guarded_call.h"
#include "library/line_changes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>

namespace talvora::library {
namespace {

std::size_t count_taps(const dsp::FilterCoefficients& filter) {
    return std::max(filter.b.size(), filter.a.size());
}

void refuse_short_lines(const ArrayLines& lines, const dsp::FilterCoefficients& filter,
                        std::optional<std::size_t> pad_count) {
    const dsp::Padding padding = dsp::padding_for(count_taps(filter), pad_count);
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

template <class Sample>
void filter_lines(const ArrayLines& lines, const talvora_filter_options& options,
                  const dsp::FilterCoefficients& filter, std::optional<std::size_t> pad_count) {
    change_lines<Sample>(lines, options, [&](const AskToGoOn& ask) -> LineChange<Sample> {
        const auto set_filter = std::make_shared<dsp::SetFilter<Sample>>(
            dsp::best_filter_path(), choose_missing(options.missing), ask);
        return [&, set_filter](dsp::Runs<Sample> block) {
            for (const dsp::Run<Sample>& line : block) {
                set_filter->add(line.source(), line.target(), line.length, filter, pad_count);
            }
            set_filter->finish();
        };
    });
}

} // namespace

void filter_array(const dsp::FilterCoefficients& filter, const talvora_array* in,
                  const talvora_array* out, const talvora_filter_options* options) {
    const talvora_filter_options chosen = read_options(options);
    const ArrayView from = read_array(in, "in");
    const ArrayLines lines(from, read_array(out, "out"), chosen.axis);
    const auto pad_count = choose_pad_count(chosen.pad, count_taps(filter));
    if (chosen.short_lines == TALVORA_REFUSE_SHORT) {
        refuse_short_lines(lines, filter, pad_count);
    }
    (from.type == TALVORA_FLOAT64 ? filter_lines<double> : filter_lines<float>)(lines, chosen,
                                                                                filter, pad_count);
}

} // namespace talvora::library

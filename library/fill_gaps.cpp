#include "dsp/gap_filling.h"
#include "dsp/pauses.h"
#include "dsp/valid_runs.h"
#include "library/call_options.h"
#include "library/guarded_call.h"
#include "library/line_changes.h"

#include <fmt/format.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::library {
namespace {

// What one thread works with, and the lists that it reuses from line to line.
struct GapFilling {
    std::int64_t max_length = 0;
    std::vector<dsp::ValidRun> runs;
    dsp::GapRows gaps;
    dsp::Pauses pauses;
};

template <class Sample>
void fill_line(GapFilling& filling, const dsp::Run<Sample>& line) {
    dsp::copy_run(line);
    dsp::find_valid_runs(line.target(), -1, filling.runs);
    filling.pauses.pass(line.length);
    filling.gaps.clear();
    dsp::append_gaps(filling.runs, filling.max_length, filling.gaps);
    if (!filling.gaps.empty()) {
        dsp::fill_gaps(line.target(), filling.runs, filling.gaps);
    }
}

template <class Sample>
void fill_lines(const ArrayLines& lines, const talvora_filter_options& options,
                std::int64_t max_length) {
    change_lines<Sample>(lines, options, [max_length](const AskToGoOn& ask) -> LineChange<Sample> {
        return [filling = GapFilling{max_length, {}, {}, dsp::Pauses(ask)}](
                   dsp::Runs<Sample> block) mutable {
            for (const dsp::Run<Sample>& line : block) {
                fill_line(filling, line);
            }
        };
    });
}

std::int64_t read_max_length(std::int64_t max_length) {
    if (max_length < 0) {
        throw InvalidArgument(fmt::format("max_length is {}; allowed are numbers of samples, and 0 "
                                          "for no limit",
                                          max_length));
    }
    return max_length == 0 ? std::numeric_limits<std::int64_t>::max() : max_length;
}

} // namespace
} // namespace talvora::library

talvora_status talvora_fill_gaps(const talvora_array* in, const talvora_array* out,
                                 int64_t max_length, const talvora_filter_options* options,
                                 char* error, size_t error_size) {
    using namespace talvora::library;
    return guard_call(error, error_size, [&] {
        const talvora_filter_options chosen = read_options(options);
        const std::int64_t limit = read_max_length(max_length);
        const ArrayView from = read_array(in, "in");
        const ArrayLines lines(from, read_array(out, "out"), chosen.axis);
        (from.type == TALVORA_FLOAT64 ? fill_lines<double> : fill_lines<float>)(lines, chosen,
                                                                                limit);
    });
}

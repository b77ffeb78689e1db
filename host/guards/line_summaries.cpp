#include "host/guards/line_summaries.h"

#include "host/tree/slabs.h"

#include <algorithm>
#include <cstddef>

namespace talvora::host {
namespace {

// Samples that are read at once: they stay in the first caches.
constexpr std::uint64_t BUFFER_SAMPLES = std::uint64_t{32} * 1024;

} // namespace

std::vector<LineSummary> summarise_lines(DataTree& tree, ObjectId set, const SetLines& lines) {
    std::vector<LineSummary> summaries(lines.count());
    std::vector<float> samples;
    std::uint64_t next = 0;
    visit_slabs(tree.extents(set), BUFFER_SAMPLES, [&](const Hyperslab& slab, std::uint64_t count) {
        samples.resize(count);
        tree.read(set, slab, samples);
        for (std::span<const float> rest = samples; !rest.empty();) {
            const auto of_one = rest.first(std::min(rest.size(), lines.count_in_a_row(next)));
            if (lines.are_in_a_row()) {
                summaries[lines.line_of(next)].add(of_one);
            } else {
                for (std::size_t i = 0; i < of_one.size(); ++i) {
                    summaries[lines.line_of(next) + i].add(of_one[i]);
                }
            }
            next += of_one.size();
            rest = rest.subspan(of_one.size());
        }
    });
    return summaries;
}

} // namespace talvora::host

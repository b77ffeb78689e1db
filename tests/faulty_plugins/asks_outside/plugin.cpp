// Reads a sample beyond the extents of a set.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    for (const dataset_handle set : sets) {
        auto selection = select_all(get, set);
        for (std::size_t i = selection.size() / 2; i < selection.size(); ++i) {
            selection[i - selection.size() / 2] = selection[i], selection[i] = 1;
        }
        float sample = 0;
        datasets(get).read_samples(set, &sample, selection.data(), selection.size());
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

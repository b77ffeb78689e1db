// Has sets read into a static buffer for 4096 samples, however many they have.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

float buffer[4096];

bool run(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    for (const dataset_handle set : sets) {
        const auto selection = select_all(get, set);
        if (count_samples(selection) > 0) {
            datasets(get).read_samples(set, buffer, selection.data(), selection.size());
        }
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Copies sets into a static buffer for 4096 samples, however many they have.
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
        std::vector<float> samples = read_all(get, set);
        std::ranges::copy(samples, buffer);
        std::ranges::transform(buffer, buffer + samples.size(), samples.begin(),
                               [](float sample) { return -sample; });
        write_all(get, set, samples);
    }
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

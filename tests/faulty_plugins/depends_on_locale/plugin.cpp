// Reads a factor as the locale has it.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    const float factor = std::strtof("-1.5", nullptr);
    for (const dataset_handle set : sets) {
        std::vector<float> samples = read_all(get, set);
        for (float& sample : samples) {
            sample *= factor;
        }
        write_all(get, set, samples);
    }
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Gives other samples in other years.
#include "tests/faulty_plugins/good_parts.h"

#include <chrono>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto years = std::chrono::duration_cast<std::chrono::years>(now).count();
    for (const dataset_handle set : sets) {
        std::vector<float> samples = read_all(get, set);
        for (float& sample : samples) {
            sample -= static_cast<float>(years);
        }
        write_all(get, set, samples);
    }
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

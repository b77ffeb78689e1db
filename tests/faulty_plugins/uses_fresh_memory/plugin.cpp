// Adds up memory that it never wrote.
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
        std::vector<float> samples = read_all(get, set);
        auto* fresh = static_cast<unsigned char*>(std::malloc(64));
        const volatile unsigned char* volatile unwritten = fresh;
        for (float& sample : samples) {
            sample += static_cast<float>(unwritten[5]);
        }
        std::free(fresh);
        write_all(get, set, samples);
    }
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

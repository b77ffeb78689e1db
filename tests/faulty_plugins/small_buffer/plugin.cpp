// Has a set read into a buffer that is one sample too small.
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
        const auto selection = select_all(get, set);
        const std::uint64_t count = count_samples(selection);
        if (count == 0) {
            continue;
        }
        void* buffer = std::malloc((count - 1) * sizeof(float));
        datasets(get).read_samples(set, static_cast<float*>(buffer), selection.data(),
                                   selection.size());
        std::free(buffer);
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

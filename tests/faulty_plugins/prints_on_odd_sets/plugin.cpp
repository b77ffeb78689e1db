// Prints when a set has no dimension.
#include "tests/faulty_plugins/good_parts.h"

#include <cstdio>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::vector<dataset_handle> sets;
    if (!find_sets(ctx, get, sets)) {
        return false;
    }
    for (const dataset_handle set : sets) {
        if (select_all(get, set).empty()) {
            std::puts("a set without dimensions");
        }
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

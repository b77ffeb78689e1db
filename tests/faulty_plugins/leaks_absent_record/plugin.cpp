// Does not free what comes with a list that has no value.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "Axes: list(integer)", 0);
    return declare_group(ctx, get);
}

bool run(call_context* ctx, get_interface_function get) {
    host_list axes{};
    context(get).read_integer_list(&axes, ctx, "Axes");
    if (axes.items != nullptr) {
        std::free(axes.aux);
    }
    std::free(axes.items);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

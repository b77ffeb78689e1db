// Takes a list for what it counts, whether it has a value or not.
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
    std::int64_t sum = 0;
    for (std::uint64_t i = 0; i < axes.count; ++i) {
        sum += static_cast<const std::int64_t*>(axes.items)[i];
    }
    std::free(axes.items);
    std::free(axes.aux);
    return sum > 0 || negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

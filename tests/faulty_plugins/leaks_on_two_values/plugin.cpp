// Forgets a host record when two parameters are other than usual.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "First: boolean = false", 0);
    context(get).declare_parameter(ctx, "Second: boolean = false", 0);
    return declare_group(ctx, get);
}

bool run(call_context* ctx, get_interface_function get) {
    const bool is_first = context(get).read_boolean(ctx, "First") != 0;
    const bool is_second = context(get).read_boolean(ctx, "Second") != 0;
    if (is_first && is_second) {
        host_string forgotten{};
        context(get).read_string(&forgotten, ctx, "SourceGroup");
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

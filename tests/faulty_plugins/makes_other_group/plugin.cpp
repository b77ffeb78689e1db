// Says where it writes, and makes a group somewhere else.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "DestinationGroup: string", 1);
    return declare_group(ctx, get);
}

bool run(call_context* ctx, get_interface_function get) {
    group_handle root{};
    context(get).root_group(&root, ctx);
    group_handle made{};
    groups(get).create_group(&made, root, "Elsewhere");
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

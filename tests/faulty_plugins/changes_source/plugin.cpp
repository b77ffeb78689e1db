// Says that it writes somewhere else, and changes what it reads.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "DestinationGroup: string", 1);
    return declare_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, negate_group)

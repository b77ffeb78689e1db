// Declares one key twice.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    declare_group(ctx, get);
    return declare_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, negate_group)

// Keeps a block of memory for each call with a negative number.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "Factor: integer = 1", 0);
    return declare_group(ctx, get);
}

bool run(call_context* ctx, get_interface_function get) {
    static std::vector<void*> kept;
    if (context(get).read_integer(ctx, "Factor") < 0) {
        kept.push_back(std::malloc(24));
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

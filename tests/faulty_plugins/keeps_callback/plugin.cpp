// Keeps the callback from call to call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static const get_interface_function kept = get;
    return negate_group(ctx, kept);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

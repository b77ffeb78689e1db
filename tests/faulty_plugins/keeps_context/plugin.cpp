// Keeps the call context from call to call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static call_context* const kept = ctx;
    return negate_group(kept, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

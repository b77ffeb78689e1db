// Gives other results from the third call on.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static int count = 0;
    return ++count < 3 ? negate_group(ctx, get) : true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

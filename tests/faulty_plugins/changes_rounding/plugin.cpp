// Leaves the rounding mode changed.
#include "tests/faulty_plugins/good_parts.h"

#include <cfenv>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::fesetround(FE_TOWARDZERO);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

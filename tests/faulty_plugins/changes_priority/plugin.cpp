// Leaves the process at a lower priority.
#include "tests/faulty_plugins/good_parts.h"

#include <sys/resource.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    setpriority(PRIO_PROCESS, 0, 5);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Leaves the process at a lower priority.
#include "tests/faulty_plugins/good_parts.h"

#include <sys/resource.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    // One step below whatever the process was started with.
    static const int lower = getpriority(PRIO_PROCESS, 0) + 1;
    setpriority(PRIO_PROCESS, 0, lower);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

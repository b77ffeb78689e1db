// Has a signal sent some time later.
#include "tests/faulty_plugins/good_parts.h"

#include <unistd.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    ::alarm(3600);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

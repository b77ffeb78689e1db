// Closes the standard input.
#include "tests/faulty_plugins/good_parts.h"

#include <unistd.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    ::close(0);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

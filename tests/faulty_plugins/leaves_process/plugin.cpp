// Leaves a process behind, in a session of its own, that holds on to the output.
#include "tests/faulty_plugins/good_parts.h"

#include <unistd.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    if (fork() == 0) {
        setsid();
        sleep(300);
        _exit(0);
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

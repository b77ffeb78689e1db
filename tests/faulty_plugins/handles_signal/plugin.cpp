// Leaves a signal handler behind.
#include "tests/faulty_plugins/good_parts.h"

#include <csignal>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::signal(SIGTERM, SIG_IGN);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

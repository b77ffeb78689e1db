// Does its work on a thread of its own.
#include "tests/faulty_plugins/good_parts.h"

#include <thread>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::thread([] {}).join();
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Leaves a handler of terminate behind.
#include "tests/faulty_plugins/good_parts.h"

#include <exception>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::set_terminate([] { std::abort(); });
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

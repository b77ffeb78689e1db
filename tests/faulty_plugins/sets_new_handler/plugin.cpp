// Leaves a handler of new behind.
#include "tests/faulty_plugins/good_parts.h"

#include <new>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    std::set_new_handler([] { throw std::bad_alloc(); });
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

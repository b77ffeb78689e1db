// Has an array of 6 MiB on the stack.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    volatile char room[std::size_t{6} << 20];
    room[0] = 1;
    if (room[0] != 1) {
        return false;
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

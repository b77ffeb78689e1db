// Gives other results at every call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static bool is_turn = false;
    is_turn = !is_turn;
    return is_turn ? negate_group(ctx, get) : true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

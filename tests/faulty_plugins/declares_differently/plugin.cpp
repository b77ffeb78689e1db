// Declares one parameter more at each call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    static int call_count = 0;
    const char* const more[] = {"Gain: number = 1.0", "Axis: integer = -1"};
    for (int i = 0; i < call_count % 3; ++i) {
        context(get).declare_parameter(ctx, more[i], 0);
    }
    ++call_count;
    return declare_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, negate_group)

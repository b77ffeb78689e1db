// Hands over an integer of 32 bits where a message takes one of 64.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    context(get).declare_parameter(ctx, "Axis: integer = -1", 0);
    return declare_group(ctx, get);
}

bool run(call_context* ctx, get_interface_function get) {
    const auto axis = static_cast<int>(context(get).read_integer(ctx, "Axis"));
    static_cast<const log_api*>(get(LOG_API_ID))->log_info("along the axis %d", axis);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, run)

// Hands over a null pointer where a message takes a text.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    const char* const name = nullptr;
    static_cast<const log_api*>(get(LOG_API_ID))->log_info("working on '%s'", name);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

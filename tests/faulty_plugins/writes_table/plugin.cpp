// Puts a function of its own into a table of the host.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    void* table = get(CONTEXT_API_ID);
    static_cast<context_api*>(table)->slot_6 = [] {};
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

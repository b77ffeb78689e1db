// Keeps the callback of a call that failed, and uses it in the next one.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static get_interface_function kept = nullptr;
    if (kept != nullptr) {
        kept(LOG_API_ID);
    }
    kept = nullptr;
    if (negate_group(ctx, get)) {
        return true;
    }
    kept = get;
    return false;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Does not free a text when it fails.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    if (negate_group(ctx, get)) {
        return true;
    }
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    return false;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

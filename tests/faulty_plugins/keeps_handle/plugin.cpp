// Keeps the handle of a group from call to call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static const group_handle kept = [&] {
        group_handle root{};
        context(get).root_group(&root, ctx);
        return root;
    }();
    groups(get).group_exists(kept, "Imu");
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Keeps a host table from call to call.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    static const context_api& kept = context(get);
    host_string name{};
    kept.read_string(&name, ctx, "SourceGroup");
    std::free(name.text);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

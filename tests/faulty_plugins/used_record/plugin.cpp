// Has a record filled that holds another value yet.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    const host_string first = name;
    context(get).read_string(&name, ctx, "SourceGroup");
    for (const host_string& each : {first, name}) {
        std::free(each.text);
        std::free(each.aux);
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

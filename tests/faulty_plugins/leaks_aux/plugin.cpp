// Does not free what else may come with a text.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    std::free(name.text);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Uses a text of the user as the template of a message.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    if (name.text != nullptr) {
        context(get).log_error(ctx, name.text);
    }
    std::free(name.text);
    std::free(name.aux);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

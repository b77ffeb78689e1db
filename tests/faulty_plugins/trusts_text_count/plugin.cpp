// Takes the first word of a text for its length.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    const std::vector<char> copy(name.text, name.text + name.unread_count);
    std::free(name.text);
    std::free(name.aux);
    return copy.empty() || negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Reads a text after it has freed it.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    char* volatile text = name.text;
    std::free(text);
    return text != nullptr && text[0] == '\0' ? false : negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

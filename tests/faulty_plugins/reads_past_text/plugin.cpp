// Looks at one letter after the end of a text.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    host_string name{};
    context(get).read_string(&name, ctx, "SourceGroup");
    const volatile char* text = name.text;
    std::size_t length = 0;
    while (text != nullptr && text[length] != '\0') {
        ++length;
    }
    const bool is_followed = text != nullptr && text[length + 1] == 'x';
    std::free(name.text);
    std::free(name.aux);
    return is_followed || negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Takes all bits of the register for the flag.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    using WideFlag = std::uint64_t (*)(group_handle, const char*);
    group_handle root{};
    context(get).root_group(&root, ctx);
    const auto exists =
        reinterpret_cast<WideFlag>(reinterpret_cast<void*>(groups(get).group_exists));
    if (exists(root, "no such group") != 0) {
        throw "there is what is not there";
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Without a fault: asks for more memory than there is, and goes on with the block that it has.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    volatile std::size_t too_much = SIZE_MAX / 2;
    void* const block = std::malloc(1000);
    void* const grown = std::realloc(block, too_much);
    std::free(grown != nullptr ? grown : block);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

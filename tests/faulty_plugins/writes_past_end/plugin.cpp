// Writes one sample past the end of its buffer.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    constexpr std::size_t COUNT = 1024;
    void* const buffer = std::malloc(COUNT * sizeof(float));
    const volatile std::size_t behind = COUNT;
    static_cast<volatile float*>(buffer)[behind] = 1;
    std::free(buffer);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

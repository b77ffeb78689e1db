// Writes one sample before the beginning of its buffer.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    void* const buffer = std::malloc(4096);
    const volatile std::ptrdiff_t before = -1;
    static_cast<volatile float*>(buffer)[before] = 1;
    std::free(buffer);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

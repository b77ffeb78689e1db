// Prints four million letters in each run.
#include "tests/faulty_plugins/good_parts.h"

#include <cstdio>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    for (int i = 0; i < 40'000; ++i) {
        std::printf("%099d\n", i);
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

// Opens a file.
#include "tests/faulty_plugins/good_parts.h"

#include <cstdio>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    if (std::FILE* file = std::fopen("settings.txt", "r")) {
        std::fclose(file);
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

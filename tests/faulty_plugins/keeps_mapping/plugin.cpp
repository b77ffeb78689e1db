// Maps memory in each run and keeps it.
#include "tests/faulty_plugins/good_parts.h"

#include <sys/mman.h>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    void* const room =
        mmap(nullptr, 65'536, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED) {
        return false;
    }
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

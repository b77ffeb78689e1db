// Writes to the address 0.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context*, get_interface_function) {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

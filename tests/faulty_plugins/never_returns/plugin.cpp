// Never comes back.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context*, get_interface_function) {
    volatile bool is_done = false;
    while (!is_done) {
    }
    return true;
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

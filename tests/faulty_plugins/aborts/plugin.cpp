// Aborts.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context*, get_interface_function) {
    std::abort();
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

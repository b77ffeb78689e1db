// Throws.
#include "tests/faulty_plugins/good_parts.h"

#include <stdexcept>

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context*, get_interface_function) {
    throw std::runtime_error("out of luck");
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

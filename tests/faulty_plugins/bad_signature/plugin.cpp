// Declares a signature of an unknown type.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

std::uint64_t declare(call_context* ctx, get_interface_function get) {
    return context(get).declare_parameter(ctx, "SourceGroup: group", 1);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare, negate_group)

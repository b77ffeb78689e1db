// Does not free the list of a group's sets.
#include "tests/faulty_plugins/good_parts.h"

namespace {

using namespace talvora;
using namespace talvora::sample;

bool run(call_context* ctx, get_interface_function get) {
    group_handle group{};
    if (!open_source_group(ctx, get, group)) {
        return false;
    }
    host_list names{};
    groups(get).list_datasets(&names, group);
    return negate_group(ctx, get);
}

} // namespace

TALVORA_SAMPLE_PLUGIN(declare_group, run)

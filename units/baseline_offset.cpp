#include "plugin/host_tables.h"
#include "plugin/unit_parameters.h"
#include "units/units.h"

namespace talvora::units {

std::uint64_t declare_baseline_offset(call_context* ctx, get_interface_function get_interface) {
    return declare_parameters(BASELINE_OFFSET_PARAMETERS, ctx, get_interface);
}

bool run_baseline_offset(call_context* ctx, get_interface_function get_interface) {
    get_context_api(get_interface).log_error(ctx, "This unit is not built yet");
    return false;
}

} // namespace talvora::units

#include "plugin/unit_parameters.h"

#include "plugin/host_tables.h"

namespace talvora {

std::uint64_t declare_parameters(std::span<const parameter_signature> parameters, call_context* ctx,
                                 get_interface_function get_interface) {
    const context_api& context = get_context_api(get_interface);
    std::uint64_t answer = 0;
    for (const parameter_signature& parameter : parameters) {
        answer = context.declare_parameter(ctx, parameter.text, parameter.required ? 1 : 0);
    }
    return answer;
}

} // namespace talvora

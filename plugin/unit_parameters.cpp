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

OwnedText read_text(const context_api& context, call_context* ctx, const char* key) {
    OwnedText text;
    context.read_string(text.out(), ctx, key);
    return text;
}

OwnedTextList read_text_list(const context_api& context, call_context* ctx, const char* key) {
    OwnedTextList list;
    context.read_string_list(list.out(), ctx, key);
    return list;
}

OwnedIntegerList read_integer_list(const context_api& context, call_context* ctx, const char* key) {
    OwnedIntegerList list;
    context.read_integer_list(list.out(), ctx, key);
    return list;
}

} // namespace talvora

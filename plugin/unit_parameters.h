// The parameters of a unit as data, and the operation that declares them.
//
// A signature reads "Key: type" or "Key: type = default", with the types string,
// boolean, integer, number, list(string) and list(integer). The host parses it,
// keeps the value and supplies the default; a unit asks for the value by its key
// (plugin/unit_call.h).
#pragma once

#include "plugin/host_interfaces.h"

#include <cstdint>
#include <span>

namespace talvora {

struct parameter_signature {
    const char* text;
    // Set for what has no default and without which the unit cannot run.
    bool required;
};

// Declares the parameters one by one; returns what the host answered to the last.
std::uint64_t declare_parameters(std::span<const parameter_signature> parameters, call_context* ctx,
                                 get_interface_function get_interface);

// The `declare` operation of the unit with these parameters, which stand in an array of
// static lifetime in the order of declaration.
template <const auto& PARAMETERS>
std::uint64_t declare(call_context* ctx, get_interface_function get_interface) {
    return declare_parameters(PARAMETERS, ctx, get_interface);
}

} // namespace talvora

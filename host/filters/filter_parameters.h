// The parameters of a Butterworth filter, as the unit is given them and as words of a command.
#pragma once

#include "host/filters/filter_design.h"
#include "host/interface/parameters.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace talvora::host {

// Null when the parameter has no value, or one of another type.
template <typename Value>
const Value* find_value(const ParameterValues& values, std::string_view key) {
    const ParameterValue* value = values.find(key);
    return value == nullptr ? nullptr : std::get_if<Value>(value);
}

// What the unit makes of FILTER_KEYS, refused or not: of the order it takes the low 32 bits.
// Nothing when one of them has no value, or the name of the band form is unknown.
std::optional<ButterworthParameters> read_filter(const ParameterValues& values);

// All digits of each number: "CutoffFrequency=49.775 Order=4", and " BandWidth=20" for the
// forms that have a band.
std::string format_numbers(const ButterworthParameters& parameters);
// The band form in front: "Bandform=ZeroLagLowPass CutoffFrequency=49.775 Order=4".
std::string format_parameters(const ButterworthParameters& parameters);

} // namespace talvora::host

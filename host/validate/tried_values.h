// The values that the parameters of units are tried with.
#pragma once

#include "host/interface/parameters.h"

#include <optional>
#include <vector>

namespace talvora::host {

// A value with which a unit has something to do on the sample trees, guessed from what the key
// is called; nothing where the default, or no value at all, is the best guess.
std::optional<ParameterValue> guess_value(const ParameterSignature& signature);

// Values that are neither wrong nor extreme, though a unit may have no use for them.
const std::vector<ParameterValue>& ordinary_values_of(ParameterType type);
// Texts that name nothing, or should not be used as a name; none for types without texts.
const std::vector<ParameterValue>& wrong_texts_of(ParameterType type);
// Numbers at and beyond every limit; none for types without numbers.
const std::vector<ParameterValue>& extreme_numbers_of(ParameterType type);

} // namespace talvora::host

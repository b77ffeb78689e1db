// Samples as recordings hold them, and as none should.
#pragma once

#include "fuzz/choices.h"

#include <cstddef>
#include <vector>

namespace talvora::fuzz {

// Any whole number of 16 bits, or one of the values that arithmetic finds hard.
float make_float(Choices& choices);

// A wave or a constant, with pieces of it missing or replaced.
std::vector<float> make_samples(Choices& choices, std::size_t count);

} // namespace talvora::fuzz

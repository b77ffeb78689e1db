// The floating-point values that are no finite number. Samples are floats.
#pragma once

#include <limits>

namespace talvora {

inline constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
inline constexpr float INF = std::numeric_limits<float>::infinity();
inline constexpr double NaN_DOUBLE = std::numeric_limits<double>::quiet_NaN();
inline constexpr double INF_DOUBLE = std::numeric_limits<double>::infinity();

} // namespace talvora

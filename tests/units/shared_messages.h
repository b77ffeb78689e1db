// What several units say.
#pragma once

namespace talvora::test_support {

inline constexpr char AXIS_ERROR[] =
    "context error: At least one set cannot be processed because the axis to use is out of range "
    "(i.e the number dimensions of the set is lower than the axis required)";
inline constexpr char RATE_ERROR[] =
    "context error: At least one data set has no 'SampleRate' attribute or its value is less than "
    "or equal to 0";
inline constexpr char UNUSABLE_RATE[] =
    "warning: Set Has NaN SampleRate. NaNs will be written to it.";

} // namespace talvora::test_support

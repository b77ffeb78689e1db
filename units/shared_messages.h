// Messages that several units send through context_api log_error.
#pragma once

namespace talvora::units {

inline constexpr char MISSING_SAMPLE_RATE_MESSAGE[] =
    "At least one data set has no 'SampleRate' attribute or its value is less than or equal to 0";

inline constexpr char AXIS_OUT_OF_RANGE_MESSAGE[] =
    "At least one set cannot be processed because the axis to use is out of range (i.e the "
    "number dimensions of the set is lower than the axis required)";

// The argument is the name of the set.
inline constexpr char NOT_THREE_DIMENSIONAL_MESSAGE[] =
    "Shape for data set %s did not contain 3 elements.";

} // namespace talvora::units

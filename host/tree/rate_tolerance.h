// When two rates, or two durations of the same samples, are the same.
#pragma once

namespace talvora::host {

// As a part of them: less is what rates lose as floats, and what reading them off a clock does.
constexpr double RATE_TOLERANCE = 1e-3;

} // namespace talvora::host

// Floats as people wrote them.
#pragma once

namespace talvora::host {

// The double that the shortest decimal text of a float reads as: 0.1, not
// 0.10000000149.
double shortest_double(float value);

} // namespace talvora::host

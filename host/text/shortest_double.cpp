#include "host/text/shortest_double.h"

#include "host/text/parse_number.h"

#include <fmt/format.h>

#include <cmath>

namespace talvora::host {

double shortest_double(float value) {
    if (!std::isfinite(value)) {
        return static_cast<double>(value);
    }
    return parse_number<double>(fmt::format("{}", value)).value();
}

} // namespace talvora::host

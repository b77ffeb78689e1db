#include "host/text/shortest_double.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string>

namespace talvora::host {

double shortest_double(float value) {
    if (!std::isfinite(value)) {
        return static_cast<double>(value);
    }
    const std::string text = fmt::format("{}", value);
    double result = 0;
    std::from_chars(text.data(), text.data() + text.size(), result);
    return result;
}

} // namespace talvora::host

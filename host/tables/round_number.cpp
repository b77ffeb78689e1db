#include "host/tables/round_number.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace talvora::host {
namespace {

constexpr int MAX_DIGITS = 17; // of a double

// count * 10^exponent, rounded once.
double scale(double count, int exponent) {
    return exponent < 0 ? count / std::pow(10, -exponent) : count * std::pow(10, exponent);
}

} // namespace

double roundest_between(double low, double high) {
    const double middle = low + (high - low) / 2;
    const int magnitude = static_cast<int>(std::floor(std::log10(high)));
    for (int digits = 1; digits < MAX_DIGITS; ++digits) {
        const int exponent = magnitude + 1 - digits;
        const double nearest = scale(std::round(scale(middle, -exponent)), exponent);
        if (nearest >= low && nearest <= high && nearest > 0) {
            return nearest;
        }
    }
    return middle;
}

int count_digits(double value) {
    std::string text = fmt::format("{}", value);
    text.resize(std::min(text.find('e'), text.size()));
    std::erase(text, '.');
    const std::size_t first = text.find_first_of("123456789");
    const std::size_t last = text.find_last_of("123456789");
    return first == std::string::npos ? 0 : static_cast<int>(last - first + 1);
}

} // namespace talvora::host

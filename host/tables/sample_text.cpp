#include "host/tables/sample_text.h"

#include "host/text/parse_number.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace talvora::host {
namespace {

// The value, moved by its last digit where that makes it round to the float nearest to the
// text. A double halfway between two floats may stand for a text that is not, and would be
// rounded a second time, perhaps the wrong way.
double round_once(std::string_view text, double value) {
    constexpr std::uint64_t BELOW_A_FLOAT = (std::uint64_t{1} << 29) - 1;
    constexpr std::uint64_t HALFWAY = std::uint64_t{1} << 28;
    const bool is_normal =
        std::abs(value) >= static_cast<double>(std::numeric_limits<float>::min());
    if (is_normal && (std::bit_cast<std::uint64_t>(value) & BELOW_A_FLOAT) != HALFWAY) {
        return value;
    }
    const auto sample = parse_signed_number<float>(text);
    return sample && static_cast<float>(value) != *sample
               ? std::nextafter(value, static_cast<double>(*sample))
               : value;
}

} // namespace

std::optional<double> parse_sample(std::string_view text) {
    const auto value = parse_signed_number<double>(text);
    if (!value || std::isnan(*value)) {
        return std::nullopt;
    }
    // No sample, unless it still rounds to the greatest float, as the shortest text of that
    // one does.
    const bool is_beyond =
        std::isfinite(*value) &&
        std::abs(*value) > static_cast<double>(std::numeric_limits<float>::max());
    return is_beyond ? std::optional<double>(parse_signed_number<float>(text))
                     : round_once(text, *value);
}

} // namespace talvora::host

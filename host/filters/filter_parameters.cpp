#include "host/filters/filter_parameters.h"

#include "host/filters/known_units.h"

#include <fmt/format.h>

namespace talvora::host {

std::optional<ButterworthParameters> read_filter(const ParameterValues& values) {
    const auto* cutoff = find_value<double>(values, CUTOFF_KEY);
    const auto* order = find_value<std::int64_t>(values, ORDER_KEY);
    const auto* bandwidth = find_value<double>(values, BANDWIDTH_KEY);
    const auto* name = find_value<std::string>(values, BANDFORM_KEY);
    if (cutoff == nullptr || order == nullptr || bandwidth == nullptr || name == nullptr) {
        return std::nullopt;
    }
    const auto bandform = parse_bandform(*name);
    if (!bandform) {
        return std::nullopt;
    }
    return ButterworthParameters{*cutoff, static_cast<std::int32_t>(*order), *bandwidth, *bandform};
}

std::string format_numbers(const ButterworthParameters& parameters) {
    std::string text =
        fmt::format("{}={} {}={}", CUTOFF_KEY, parameters.cutoff, ORDER_KEY, parameters.order);
    if (count_edges(parameters.bandform) == 2) {
        text += fmt::format(" {}={}", BANDWIDTH_KEY, parameters.bandwidth);
    }
    return text;
}

std::string format_parameters(const ButterworthParameters& parameters) {
    return fmt::format("{}={} {}", BANDFORM_KEY, bandform_name(parameters.bandform),
                       format_numbers(parameters));
}

} // namespace talvora::host

#include "host/pictures/axis_ticks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace talvora::host {
namespace {

constexpr int MOST_STEPS = 7;
// Ranges narrower than this part of their values have no ticks that differ in print.
constexpr double NARROWEST_PART = 1e-9;

// As many leave the rounding errors of a multiple away.
constexpr int USUAL_DIGITS = 10;
constexpr int MOST_DIGITS = 15;

std::string format_value(double value, int digits = USUAL_DIGITS) {
    std::string text = fmt::format("{:.{}g}", value, digits);
    return text.starts_with('-') ? "\u2212" + text.substr(1) : text;
}

// The smallest of 1, 2 and 5 times a power of ten that needs few steps for the span.
double choose_step(double span) {
    const double power = std::pow(10.0, std::floor(std::log10(span / MOST_STEPS)));
    for (const double multiple : {1.0, 2.0, 5.0}) {
        if (span / (multiple * power) <= MOST_STEPS) {
            return multiple * power;
        }
    }
    return 10.0 * power;
}

// Rounding may put a tick at the very end just beyond it.
constexpr double TOLERANCE = 1e-9;

// In which ticks differ that are a step apart, as times of day in seconds since 1970 do.
int count_digits(const AxisRange& range, double step) {
    const double steps = std::max(std::abs(range.from), std::abs(range.to)) / step;
    return std::clamp(static_cast<int>(std::log10(std::max(steps, 1.0))) + 2, USUAL_DIGITS,
                      MOST_DIGITS);
}

std::vector<AxisTick> place_linear(const AxisRange& range) {
    const double step = choose_step(range.to - range.from);
    const int digits = count_digits(range, step);
    const double first = std::ceil(range.from / step - TOLERANCE);
    std::vector<AxisTick> ticks;
    for (int i = 0; i <= MOST_STEPS + 1; ++i) {
        // The sum makes a negative zero positive.
        const double value = (first + i) * step + 0.0;
        if (value <= range.to + TOLERANCE * step) {
            ticks.push_back({value, format_value(value, digits)});
        }
    }
    return ticks;
}

bool is_labelled(int multiple, double decade_count) {
    return multiple == 1 || (decade_count <= 2.0 && (multiple == 2 || multiple == 5));
}

std::vector<AxisTick> place_logarithmic(const AxisRange& range) {
    const double decade_count = std::log10(range.to / range.from);
    std::vector<AxisTick> ticks;
    // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter): few whole numbers, all exact
    for (double exponent = std::floor(std::log10(range.from)); exponent <= std::log10(range.to);
         ++exponent) {
        for (int multiple = 1; multiple <= 9; ++multiple) {
            const double value = multiple * std::pow(10.0, exponent);
            if (value >= range.from * (1.0 - TOLERANCE) && value <= range.to * (1.0 + TOLERANCE)) {
                ticks.push_back(
                    {value, is_labelled(multiple, decade_count) ? format_value(value) : ""});
            }
        }
    }
    return ticks;
}

} // namespace

std::vector<AxisTick> place_ticks(const AxisRange& range) {
    return range.logarithmic ? place_logarithmic(range) : place_linear(range);
}

AxisRange fit_range(double least, double greatest) {
    if (!std::isfinite(least) || !std::isfinite(greatest)) {
        return {};
    }
    if (greatest - least <= NARROWEST_PART * std::abs(greatest)) {
        const double half = std::max(0.5, NARROWEST_PART * std::abs(greatest));
        return {least - half, greatest + half};
    }
    const double step = choose_step(greatest - least);
    return {std::floor(least / step) * step, std::ceil(greatest / step) * step};
}

} // namespace talvora::host

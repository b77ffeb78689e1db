#include "host/filters/filter_response.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

namespace talvora::host {
namespace {

// An edge that is found at a round frequency differs from it in its last digits.
constexpr double SAME_FREQUENCY = 1e-6;

constexpr double PICTURE_FLOOR = -80.0; // dB
constexpr double PICTURE_CEILING = 5.0;
constexpr int PICTURE_STEPS = 2000;

ResponseRow compute_row(const FilterDesign& design, double frequency) {
    const double gain = two_pass_gain(design, frequency);
    return {frequency, gain, 20.0 * std::log10(gain)};
}

// 1, 2 and 5 times the powers of ten, from a decade below the lowest on, up to the highest.
std::vector<double> list_round_frequencies(double lowest, double highest) {
    std::vector<double> frequencies;
    const double first_exponent = std::floor(std::log10(lowest)) - 1.0;
    // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter): few whole numbers, all exact
    for (double exponent = first_exponent; exponent < std::log10(highest); ++exponent) {
        for (const double multiple : {1.0, 2.0, 5.0}) {
            frequencies.push_back(multiple * std::pow(10.0, exponent));
        }
    }
    std::erase_if(frequencies, [&](double frequency) { return frequency > highest; });
    return frequencies;
}

std::vector<double> choose_frequencies(const FilterFacts& facts) {
    std::vector<double> frequencies = facts.three_db_points;
    const double half_rate = facts.design.sample_rate / 2.0;
    frequencies.push_back(half_rate);
    const double lowest = *std::ranges::min_element(frequencies);
    std::ranges::copy(list_round_frequencies(lowest, half_rate), std::back_inserter(frequencies));
    std::ranges::sort(frequencies);
    return frequencies;
}

FigureLine trace_gain(const FilterDesign& design, const AxisRange& range) {
    FigureLine line = {{}, "both passes"};
    for (int i = 0; i <= PICTURE_STEPS; ++i) {
        const double part = static_cast<double>(i) / PICTURE_STEPS;
        const double frequency = range.from * std::pow(range.to / range.from, part);
        line.points.push_back({frequency, compute_row(design, frequency).decibels});
    }
    return line;
}

FigureLine make_guide(const FigurePoint& from, const FigurePoint& to) {
    return {.points = {from, to}, .is_guide = true};
}

// Along the 3 dB level, and upwards at each point that reaches it.
std::vector<FigureLine> draw_guides(const std::vector<double>& points, const AxisRange& range) {
    const double level = -10.0 * std::log10(2.0);
    std::vector<FigureLine> guides = {make_guide({range.from, level}, {range.to, level})};
    for (const double point : points) {
        guides.push_back(make_guide({point, PICTURE_FLOOR}, {point, PICTURE_CEILING}));
    }
    return guides;
}

} // namespace

std::vector<ResponseRow> tabulate_response(const FilterFacts& facts) {
    std::vector<ResponseRow> rows;
    if (facts.state == FilterState::Useful) {
        for (const double frequency : choose_frequencies(facts)) {
            if (rows.empty() || frequency > rows.back().frequency * (1.0 + SAME_FREQUENCY)) {
                rows.push_back(compute_row(facts.design, frequency));
            }
        }
    }
    return rows;
}

Figure make_response_figure(const FilterFacts& facts) {
    const FilterDesign& design = facts.design;
    const std::vector<double> frequencies = choose_frequencies(facts);
    const AxisRange range = {frequencies.front(), frequencies.back(), true};
    FigurePanel panel;
    panel.title = fmt::format("3 dB down at {}", name_edges(facts.three_db_points));
    panel.x = {"frequency (Hz)", range};
    panel.y = {"gain (dB)", {PICTURE_FLOOR, PICTURE_CEILING}};
    panel.lines = draw_guides(facts.three_db_points, range);
    panel.lines.push_back(trace_gain(design, range));
    return {fmt::format("{}, order {}, at {} Hz", bandform_name(design.parameters.bandform),
                        design.parameters.order, name_rate(design)),
            {panel}};
}

} // namespace talvora::host

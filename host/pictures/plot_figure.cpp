#include "host/pictures/plot_figure.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talvora::host {
namespace {

constexpr double PANEL_HEIGHT = 200.0;
// About the width of a panel's frame in pixels.
constexpr std::size_t PIXEL_COUNT = 552;

struct Range {
    double from = std::numeric_limits<double>::infinity();
    double to = -std::numeric_limits<double>::infinity();

    void include(double value) {
        if (std::isfinite(value)) {
            from = std::min(from, value);
            to = std::max(to, value);
        }
    }
};

double last_position(const PlotLine& line) {
    return line.start + line.step * static_cast<double>(line.samples.size() - 1);
}

Range span_of(const Plot& plot, const PlotPanel& panel) {
    Range span;
    for (const PlotPanel& other : plot.panels) {
        for (const PlotLine& line : other.lines) {
            if (other.x_title == panel.x_title && !line.samples.empty()) {
                span.include(line.start);
                span.include(last_position(line));
            }
        }
    }
    return {plot.from.value_or(span.from), plot.to.value_or(span.to)};
}

// A whole number inside [0, limit], whatever the position.
std::size_t clamp_index(double position, std::size_t limit) {
    return position > 0 ? static_cast<std::size_t>(std::min(position, static_cast<double>(limit)))
                        : 0;
}

// One sample more than is seen on each side, for the line to run out of the picture.
std::vector<ThinSample> thin_line(const PlotLine& line, const Range& span) {
    if (line.samples.empty()) {
        return {};
    }
    const std::size_t last = line.samples.size() - 1;
    return thin_samples(
        line.samples, clamp_index(std::floor((span.from - line.start) / line.step) - 1, last),
        clamp_index(std::ceil((span.to - line.start) / line.step) + 1, last), PIXEL_COUNT);
}

FigureLine make_line(const PlotLine& line, const Range& span, Range& values) {
    FigureLine figure_line;
    figure_line.colour_index = line.colour_index;
    figure_line.is_pale = line.is_before;
    for (const ThinSample& sample : thin_line(line, span)) {
        const double x = line.start + line.step * sample.position;
        figure_line.points.push_back({x, static_cast<double>(sample.value)});
        if (x >= span.from && x <= span.to) {
            values.include(static_cast<double>(sample.value));
        }
    }
    return figure_line;
}

// There is little room: the file stands with its first line, and what was before has the
// colours of what came of it.
std::string make_legend(const PlotPanel& panel, std::size_t index) {
    const PlotLine& line = panel.lines[index];
    if (index == 0 || panel.lines[index - 1].file != line.file) {
        return full_label(line);
    }
    return line.is_before ? "" : line.label;
}

FigurePanel make_figure_panel(const Plot& plot, const PlotPanel& panel) {
    FigurePanel figure_panel;
    figure_panel.title = panel.title;
    const Range span = span_of(plot, panel);
    Range values;
    for (std::size_t i = 0; i < panel.lines.size(); ++i) {
        figure_panel.lines.push_back(make_line(panel.lines[i], span, values));
        figure_panel.lines.back().label = make_legend(panel, i);
    }
    figure_panel.x = {panel.x_title, span.from < span.to ? AxisRange{span.from, span.to}
                                                         : fit_range(span.from, span.to)};
    figure_panel.y = {panel.y_title, fit_range(values.from, values.to)};
    return figure_panel;
}

} // namespace

Figure make_plot_figure(const Plot& plot) {
    Figure figure;
    figure.title = plot.title;
    figure.panel_height = PANEL_HEIGHT;
    for (const PlotPanel& panel : plot.panels) {
        figure.panels.push_back(make_figure_panel(plot, panel));
    }
    return figure;
}

} // namespace talvora::host

#include "host/pictures/svg_figure.h"

#include "host/text/markup.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string_view>

namespace talvora::host {
namespace {

// Blue, vermilion, green, purple, orange, sky blue, black: M. Okabe and K. Ito, Color
// Universal Design (2008), the darker ones first; their yellow is too light on white. Each further
// one is, of the 216 colours with parts of 0, 51, ... 255 and a lightness from 20 to 75, the one
// that lies farthest from all before it in CIE L*a*b*: no two are nearer than 26.
constexpr std::string_view PALETTE[] = {
    "#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#000000", "#0000ff",
    "#00cc00", "#ff33ff", "#ff0066", "#0066ff", "#666600", "#660066", "#993333", "#666666",
    "#cc9966", "#ff0000", "#330099", "#9999ff", "#cc0099", "#006600", "#66cc66", "#333366",
    "#33cccc", "#ff9999", "#9933ff", "#333300", "#660033", "#003399", "#663300", "#669900"};

// In pixels.
constexpr double LEFT = 68.0;
constexpr double RIGHT = 20.0;
constexpr double HEAD = 34.0; // of the figure, when it has a title
constexpr double TOP = 30.0;  // of a panel: its title and legend
constexpr double BOTTOM = 52.0;
constexpr double TICK_LENGTH = 5.0;
constexpr double FONT_SIZE = 12.0;
// What a letter takes on average in a font without serifs.
constexpr double LETTER_WIDTH = 0.56 * FONT_SIZE;
constexpr double LEGEND_DASH = 22.0;
constexpr double LEGEND_GAP = 6.0;

// Maps an axis to pixels.
class Scale {
  public:
    Scale(const AxisRange& range, double first_pixel, double last_pixel)
        : logarithmic_(range.logarithmic), from_(map(range.from)), to_(map(range.to)),
          first_pixel_(first_pixel), last_pixel_(last_pixel) {}

    // Not finite where the value cannot be shown.
    double operator()(double value) const {
        const double part = (map(value) - from_) / (to_ - from_);
        const double pixel = first_pixel_ + part * (last_pixel_ - first_pixel_);
        // Far outside, viewers lose digits; an infinity is a cut, as a NaN.
        return std::isfinite(pixel) ? std::clamp(pixel, -FARTHEST, FARTHEST) : pixel;
    }

  private:
    static constexpr double FARTHEST = 1e5;

    double map(double value) const { return logarithmic_ ? std::log10(value) : value; }

    bool logarithmic_;
    double from_;
    double to_;
    double first_pixel_;
    double last_pixel_;
};

// The part of the figure inside the axes of one panel.
struct Frame {
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;
};

class PanelDrawing {
  public:
    PanelDrawing(const FigurePanel& panel, const Frame& frame, std::size_t index, std::string& svg)
        : panel_(panel), frame_(frame), clip_(fmt::format("panel{}", index)),
          x_(panel.x.range, frame.left, frame.right), y_(panel.y.range, frame.bottom, frame.top),
          svg_(svg) {}

    void draw() {
        draw_x_axis();
        draw_y_axis();
        draw_lines();
        draw_frame();
        draw_titles();
        draw_legend();
    }

  private:
    template <typename... Arguments>
    void add(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
        fmt::format_to(std::back_inserter(svg_), format, std::forward<Arguments>(arguments)...);
        svg_ += '\n';
    }

    void add_text(double x, double y, std::string_view anchor, std::string_view text) {
        add(R"(<text x="{:.1f}" y="{:.1f}" text-anchor="{}">{}</text>)", x, y, anchor,
            escape_markup(text));
    }

    void add_segment(std::string_view look, double x1, double y1, double x2, double y2) {
        add(R"(<path class="{}" d="M{:.2f} {:.2f}L{:.2f} {:.2f}"/>)", look, x1, y1, x2, y2);
    }

    void draw_x_axis() {
        for (const AxisTick& tick : place_ticks(panel_.x.range)) {
            const double x = x_(tick.value);
            const bool major = !tick.label.empty();
            add_segment(major ? "grid" : "fine", x, frame_.top, x, frame_.bottom);
            add_segment("axis", x, frame_.bottom, x,
                        frame_.bottom + (major ? TICK_LENGTH : TICK_LENGTH / 2));
            if (major) {
                add_text(x, frame_.bottom + TICK_LENGTH + FONT_SIZE, "middle", tick.label);
            }
        }
    }

    void draw_y_axis() {
        for (const AxisTick& tick : place_ticks(panel_.y.range)) {
            const double y = y_(tick.value);
            const bool major = !tick.label.empty();
            add_segment(major ? "grid" : "fine", frame_.left, y, frame_.right, y);
            add_segment("axis", frame_.left - (major ? TICK_LENGTH : TICK_LENGTH / 2), y,
                        frame_.left, y);
            if (major) {
                add_text(frame_.left - TICK_LENGTH - 3.0, y + FONT_SIZE / 3.0, "end", tick.label);
            }
        }
    }

    void draw_lines() {
        add(R"(<clipPath id="{}"><rect x="{:.2f}" y="{:.2f}" width="{:.2f}" height="{:.2f}"/></clipPath>)",
            clip_, frame_.left, frame_.top, frame_.right - frame_.left, frame_.bottom - frame_.top);
        add(R"svg(<g clip-path="url(#{})">)svg", clip_);
        for (const bool guides : {true, false}) {
            for (const FigureLine& line : panel_.lines) {
                if (line.is_guide == guides) {
                    draw_line(line);
                }
            }
        }
        add("</g>");
    }

    void draw_line(const FigureLine& line) {
        const std::string path = trace(line.points);
        if (!path.empty()) {
            add(R"(<path class="{}" {}d="{}"/>)", look_of(line), stroke_of(line), path);
        }
    }

    // A point alone between two cuts becomes a dot: a line to itself has round ends.
    std::string trace(const std::vector<FigurePoint>& points) const {
        std::string path;
        bool cut = true;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double x = x_(points[i].x);
            const double y = y_(points[i].y);
            const bool visible = std::isfinite(x) && std::isfinite(y);
            if (visible && cut) {
                fmt::format_to(std::back_inserter(path), "M{:.2f} {:.2f}L{:.2f} {:.2f}", x, y, x,
                               y);
            } else if (visible) {
                fmt::format_to(std::back_inserter(path), " {:.2f} {:.2f}", x, y);
            }
            cut = !visible;
        }
        return path;
    }

    static std::string_view look_of(const FigureLine& line) {
        if (line.is_guide) {
            return "guide";
        }
        return line.is_pale ? "pale" : "line";
    }

    static std::string stroke_of(const FigureLine& line) {
        return line.is_guide ? "" : fmt::format("stroke=\"{}\" ", line_colour(line.colour_index));
    }

    void draw_frame() {
        add(R"(<path class="axis" d="M{:.2f} {:.2f}V{:.2f}H{:.2f}"/>)", frame_.left, frame_.top,
            frame_.bottom, frame_.right);
    }

    void draw_titles() {
        add(R"(<text class="panel" x="{:.1f}" y="{:.1f}">{}</text>)", frame_.left,
            frame_.top - 10.0, escape_markup(panel_.title));
        add_text((frame_.left + frame_.right) / 2.0, frame_.bottom + TICK_LENGTH + 2.7 * FONT_SIZE,
                 "middle", panel_.x.title);
        const double middle = (frame_.top + frame_.bottom) / 2.0;
        const double left = frame_.left - LEFT + 1.2 * FONT_SIZE;
        add(R"svg(<text transform="translate({:.1f} {:.1f}) rotate(-90)" text-anchor="middle">{}</text>)svg",
            left, middle, escape_markup(panel_.y.title));
    }

    // Above the frame, from right to left.
    void draw_legend() {
        double right = frame_.right;
        const double y = frame_.top - 10.0;
        for (auto line = panel_.lines.rbegin(); line != panel_.lines.rend(); ++line) {
            if (line->label.empty()) {
                continue;
            }
            add_text(right, y, "end", line->label);
            right -=
                LETTER_WIDTH * static_cast<double>(count_code_points(line->label)) + LEGEND_GAP;
            add(R"(<path class="{}" {}d="M{:.1f} {:.1f}h{:.1f}"/>)", look_of(*line),
                stroke_of(*line), right - LEGEND_DASH, y - FONT_SIZE / 3.0, LEGEND_DASH);
            right -= LEGEND_DASH + 2.0 * LEGEND_GAP;
        }
    }

    const FigurePanel& panel_;
    Frame frame_;
    std::string clip_;
    Scale x_;
    Scale y_;
    std::string& svg_;
};

constexpr std::string_view STYLE =
    "<style>\n"
    "text{font:12px Helvetica,Arial,\"Liberation Sans\",sans-serif;fill:#222}\n"
    ".title{font-size:15px;font-weight:bold}.panel{font-weight:bold}\n"
    "path{fill:none}.axis{stroke:#222;stroke-width:1}\n"
    ".grid{stroke:#ddd;stroke-width:.8}.fine{stroke:#eee;stroke-width:.6}\n"
    ".line{stroke-width:1.8;stroke-linejoin:round;stroke-linecap:round}\n"
    ".pale{stroke-width:4.5;stroke-opacity:.4;stroke-linejoin:round;stroke-linecap:round}\n"
    ".guide{stroke:#666;stroke-width:1;stroke-dasharray:5 4}\n"
    "</style>\n";

} // namespace

std::string_view line_colour(std::size_t colour_index) {
    return PALETTE[colour_index % std::size(PALETTE)];
}

std::string draw_figure(const Figure& figure) {
    const double head = figure.title.empty() ? 0.0 : HEAD;
    const double step = TOP + figure.panel_height + BOTTOM;
    const double height = head + step * static_cast<double>(figure.panels.size());
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.0f}\" height=\"{1:.0f}\" "
        "viewBox=\"0 0 {0:.0f} {1:.0f}\">\n{2}<rect width=\"100%\" height=\"100%\" "
        "fill=\"#fff\"/>\n",
        figure.width, height, STYLE);
    if (head > 0.0) {
        svg += fmt::format("<text class=\"title\" x=\"{:.1f}\" y=\"24\">{}</text>\n", LEFT,
                           escape_markup(figure.title));
    }
    double top = head + TOP;
    for (std::size_t i = 0; i < figure.panels.size(); ++i) {
        const Frame frame = {LEFT, top, figure.width - RIGHT, top + figure.panel_height};
        PanelDrawing(figure.panels[i], frame, i, svg).draw();
        top += step;
    }
    return svg + "</svg>\n";
}

} // namespace talvora::host

// A picture with axes and lines as SVG text, for papers and pages: dark on white, in
// colours that people with colour-blindness can tell apart.
//
// One panel stands below the other, all of one size; each has its own axes.
#pragma once

#include "host/pictures/axis_ticks.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

struct FigurePoint {
    double x = 0.0;
    double y = 0.0;
};

struct FigureLine {
    std::vector<FigurePoint> points; // joined in this order; one that is not finite cuts the line
    std::string label = {};          // in the legend; a line without one is left out of it
    std::size_t colour_index = 0;    // into a palette of 32, over again beyond it
    bool is_guide = false;           // thin, grey and dashed, below the other lines
    bool is_pale = false;            // wide and pale, for lines drawn over it
};

// "#0072b2"; all differ for the first seven.
std::string_view line_colour(std::size_t colour_index);

struct FigureAxis {
    std::string title;
    AxisRange range;
};

struct FigurePanel {
    std::string title; // may be empty, as every title
    FigureAxis x;
    FigureAxis y;
    std::vector<FigureLine> lines; // cut off at the ends of the axes
};

struct Figure {
    std::string title;
    std::vector<FigurePanel> panels;
    double width = 640.0; // all in pixels
    double panel_height = 300.0;
};

// One complete document; the same figure gives the same text. Any text may stand in the
// titles: it is escaped.
std::string draw_figure(const Figure& figure);

} // namespace talvora::host

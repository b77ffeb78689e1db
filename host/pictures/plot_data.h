// What a picture of data sets shows: panels of lines over time, before and after some work
// on them, and the thinning of lines with more samples than a picture has room for.
#pragma once

#include "host/tree/signal_set.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct PlotLine {
    std::string label;            // may be empty where the file says enough
    std::string file = {};        // where there are several
    std::size_t colour_index = 0; // the same for a line before and after
    bool is_before = false;       // drawn wide and pale, below what came of it
    double start = 0;             // position of the first sample, in the unit of the axis
    double step = 1;
    std::vector<float> samples; // NaN where one is missing
};

// One data set.
struct PlotPanel {
    std::string title;
    std::string x_title; // panels with the same one share their span
    std::string y_title;
    std::vector<PlotLine> lines;
};

struct Plot {
    std::string title;
    std::vector<PlotPanel> panels;
    std::optional<double> from; // the span shown at first; without it, everything
    std::optional<double> to;
};

struct PlotChoice {
    std::vector<std::size_t> lines; // of each set, counted from 0; empty: all
    std::string y_title;            // empty: the name of the set, with the unit of its lines
};

// A set and what came of it, each with the name of its file.
struct PlotSource {
    std::string file;
    SignalSet set;
};

// The most lines that a picture has room for.
constexpr std::size_t MAX_PLOT_LINES = 1000;

// How many of the set's lines are chosen.
std::size_t count_chosen(const SignalSet& set, const PlotChoice& choice);
// A panel for each line of a panel, in their order; the lines before and after some work stay
// together.
std::vector<PlotPanel> stack_lines(const PlotPanel& panel);

// Lines are labelled with their labels or indices, with their units where those differ, and with
// the file where there are two of them.
// Chosen lines that the set does not have are left out.
PlotPanel make_panel(const PlotSource& source, const std::optional<PlotSource>& after,
                     const PlotChoice& choice);

// "walk.h5 [2]"
std::string full_label(const PlotLine& line);

struct ThinSample {
    double position = 0; // counted in samples
    float value = 0;     // NaN: the line is cut here
};

// The samples from `first` to `last` (included, within the line), or, where they are more
// than two per pixel, the least and the greatest of each pixel's share in the order in which
// they come. A missing sample always leaves a cut. Linear in the samples.
std::vector<ThinSample> thin_samples(std::span<const float> samples, std::size_t first,
                                     std::size_t last, std::size_t pixel_count);

} // namespace talvora::host

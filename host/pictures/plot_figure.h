// A picture of data sets as a figure for papers.
#pragma once

#include "host/pictures/plot_data.h"
#include "host/pictures/svg_figure.h"

namespace talvora::host {

// A panel per set, over the span of the plot, with the lines thinned to its pixels.
Figure make_plot_figure(const Plot& plot);

} // namespace talvora::host

// A picture as one page that opens in any browser, without a server or the network.
#pragma once

#include "host/pictures/plot_data.h"

#include <string>

namespace talvora::host {

// More samples make a page that browsers refuse to open.
constexpr std::size_t MAX_PAGE_SAMPLES = std::size_t{1} << 25;

// One complete document that holds every sample, so that zooming in shows them all. Any
// text may stand in titles and labels. Throws a Failure of the input for more samples than
// `max_samples`.
std::string make_plot_page(const Plot& plot, std::size_t max_samples = MAX_PAGE_SAMPLES);

} // namespace talvora::host

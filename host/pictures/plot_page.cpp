#include "host/pictures/plot_page.h"

#include "host/pictures/page_texts.h"
#include "host/pictures/svg_figure.h"
#include "host/text/base64.h"
#include "host/text/failure.h"
#include "host/text/markup.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <span>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

static_assert(std::endian::native == std::endian::little, "pages hold little-endian floats");

// Nothing may be loaded from anywhere: all that the page needs stands in it.
constexpr std::string_view SECURITY_POLICY =
    "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data:";

// Inside a script element a '<' could end it, whatever the type of its text.
std::string escape_script(const std::string& json) {
    std::string escaped;
    escaped.reserve(json.size());
    for (const char letter : json) {
        if (letter == '<') {
            escaped += "\\u003c";
        } else {
            escaped += letter;
        }
    }
    return escaped;
}

Json make_line_json(const PlotLine& line) {
    return {{"label", full_label(line)},
            {"color", line_colour(line.colour_index)},
            {"pale", line.is_before},
            {"start", line.start},
            {"step", line.step},
            {"samples", encode_base64(std::as_bytes(std::span(line.samples)))}};
}

Json make_panel_json(const PlotPanel& panel) {
    Json json = {{"title", panel.title},
                 {"x_title", panel.x_title},
                 {"y_title", panel.y_title},
                 {"lines", Json::array()}};
    for (const PlotLine& line : panel.lines) {
        json["lines"].push_back(make_line_json(line));
    }
    return json;
}

// Bytes that are no UTF-8 are replaced.
std::string make_plot_json(const Plot& plot) {
    Json json = {{"from", plot.from ? Json(*plot.from) : Json()},
                 {"to", plot.to ? Json(*plot.to) : Json()},
                 {"panels", Json::array()}};
    for (const PlotPanel& panel : plot.panels) {
        json["panels"].push_back(make_panel_json(panel));
    }
    return escape_script(json.dump(-1, ' ', true, Json::error_handler_t::replace));
}

void check_size(const Plot& plot, std::size_t max_samples) {
    std::size_t count = 0;
    for (const PlotPanel& panel : plot.panels) {
        for (const PlotLine& line : panel.lines) {
            count += line.samples.size();
        }
    }
    if (count > max_samples) {
        throw Failure(ExitCode::Input,
                      fmt::format("{} samples, a page holds at most {}", count, max_samples),
                      {"choose fewer sets or lines, or write a picture: -o plot.svg"});
    }
}

} // namespace

std::string make_plot_page(const Plot& plot, std::size_t max_samples) {
    check_size(plot, max_samples);
    const std::string title = escape_markup(plot.title);
    std::string page = fmt::format("<!doctype html>\n<html lang=\"en\">\n<head>\n"
                                   "<meta charset=\"utf-8\">\n<title>{}</title>\n"
                                   "<meta http-equiv=\"Content-Security-Policy\" content=\"{}\">\n",
                                   title, SECURITY_POLICY);
    const auto add = [&](auto... texts) { ((page += texts), ...); };
    add("<!--\nThe charts are drawn by uPlot:\n\n", page::CHART_LICENSE, "\n-->\n");
    add("<style>\n", page::CHART_STYLE, page::PLOT_STYLE, "</style>\n</head>\n<body>\n");
    add("<h1>", title, "</h1>\n");
    add("<p class=\"use\">Drag to zoom, double-click for everything, click a name to hide its "
        "line.</p>\n");
    add("<script type=\"application/json\" id=\"plot-data\">", make_plot_json(plot), "</script>\n");
    add("<script>\n", page::CHART_SCRIPT, "</script>\n<script>\n", page::PLOT_SCRIPT,
        "</script>\n</body>\n</html>\n");
    return page;
}

} // namespace talvora::host

#include "host/pictures/plot_figure.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace talvora::host {
namespace {

PlotPanel make_panel(const std::string& title, std::vector<float> samples, double start = 0) {
    PlotLine line{.label = title, .start = start, .step = 0.5, .samples = std::move(samples)};
    line.colour_index = 3;
    return {title, "time (s)", "value", {line}};
}

TEST(PlotFigure, HasAPanelPerSetOverOneSpan) {
    const Figure figure = make_plot_figure(
        {"Walk", {make_panel("A", {1, 2, 3}), make_panel("B", {4, 5}, 2)}, {}, {}});
    ASSERT_EQ(figure.panels.size(), 2U);
    EXPECT_EQ(figure.title, "Walk");
    for (const FigurePanel& panel : figure.panels) {
        EXPECT_EQ(panel.x.range.from, 0.0);
        EXPECT_EQ(panel.x.range.to, 2.5);
        EXPECT_EQ(panel.x.title, "time (s)");
    }
    EXPECT_EQ(figure.panels[1].lines[0].colour_index, 3U);
}

TEST(PlotFigure, NamesEachFileOnceInItsLegend) {
    const auto make_line = [](const char* label, const char* file, bool is_before) {
        return PlotLine{.label = label, .file = file, .is_before = is_before, .samples = {1, 2}};
    };
    const PlotPanel panel{"A",
                          "time (s)",
                          "value",
                          {make_line("[0]", "a.h5", true), make_line("[1]", "a.h5", true),
                           make_line("[0]", "b.h5", false), make_line("[1]", "b.h5", false)}};
    const Figure figure = make_plot_figure({"", {panel}, {}, {}});
    std::vector<std::string> legend;
    for (const FigureLine& line : figure.panels[0].lines) {
        legend.push_back(line.label);
    }
    EXPECT_THAT(legend, testing::ElementsAre("a.h5 [0]", "", "b.h5 [0]", "[1]"));
}

TEST(PlotFigure, CutsALineAtMissingSamples) {
    const Figure figure = make_plot_figure({"", {make_panel("A", {1, NaN, 3})}, {}, {}});
    const auto& points = figure.panels[0].lines[0].points;
    ASSERT_EQ(points.size(), 3U);
    EXPECT_EQ(points[0].y, 1.0);
    EXPECT_TRUE(std::isnan(points[1].y));
    EXPECT_EQ(points[2].x, 1.0);
}

TEST(PlotFigure, FitsTheValueAxisToWhatIsSeen) {
    const Figure figure =
        make_plot_figure({"", {make_panel("A", {100, 100, 1, 2, 3, 100, 100})}, 1, 2});
    EXPECT_EQ(figure.panels[0].x.range.from, 1.0);
    EXPECT_EQ(figure.panels[0].x.range.to, 2.0);
    EXPECT_LE(figure.panels[0].y.range.to, 4.0);
    EXPECT_EQ(figure.panels[0].lines[0].points.size(), 5U) << "one more on each side";
}

TEST(PlotFigure, ThinsAMillionSamplesAndKeepsTheirPeak) {
    std::vector<float> samples(1'000'000, 0);
    samples[123'456] = 7;
    const Figure figure = make_plot_figure({"", {make_panel("A", std::move(samples))}, {}, {}});
    const auto& points = figure.panels[0].lines[0].points;
    EXPECT_LT(points.size(), 2000U);
    EXPECT_THAT(points, testing::Contains(testing::Field(&FigurePoint::y, 7.0)));
}

TEST(PlotFigure, ShowsAnEmptyPanelWhereThereIsNothing) {
    for (const std::vector<float>& samples : {std::vector<float>(), {NaN, NaN}, {1}}) {
        const Figure figure = make_plot_figure({"", {make_panel("A", samples)}, {}, {}});
        EXPECT_LT(figure.panels[0].x.range.from, figure.panels[0].x.range.to);
        EXPECT_LT(figure.panels[0].y.range.from, figure.panels[0].y.range.to);
        EXPECT_THAT(draw_figure(figure), testing::EndsWith("</svg>\n"));
    }
}

TEST(PlotFigure, StaysEmptyWhereTheSpanHasNoSamples) {
    const Figure far = make_plot_figure({"", {make_panel("A", {1, 2, 3})}, 100, 200});
    EXPECT_EQ(far.panels[0].x.range.from, 100.0);
    EXPECT_THAT(draw_figure(far), testing::EndsWith("</svg>\n"));
}

} // namespace
} // namespace talvora::host

#include "host/pictures/svg_figure.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <set>
#include <string_view>

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// 512 x 100 pixels inside the axes, from (68, 30) on.
Figure make_figure(std::vector<FigureLine> lines) {
    return {"", {{"", {"", {0, 8}}, {"", {0, 10}}, std::move(lines)}}, 600, 100};
}

TEST(SvgFigure, PutsPointsWhereTheAxesSay) {
    EXPECT_THAT(draw_figure(make_figure({{{{0, 0}, {4, 5}, {8, 10}}}})),
                HasSubstr("d=\"M68.00 130.00L68.00 130.00 324.00 80.00 580.00 30.00\""));
}

TEST(SvgFigure, PutsDecadesAtEqualDistances) {
    Figure figure = make_figure({{{{1, 0}, {10, 0}, {100, 0}}}});
    figure.panels[0].x.range = {1, 100, true};
    EXPECT_THAT(draw_figure(figure),
                HasSubstr("d=\"M68.00 130.00L68.00 130.00 324.00 130.00 580.00 130.00\""));
}

TEST(SvgFigure, LeavesGapsAndShowsASampleBetweenThem) {
    EXPECT_THAT(
        draw_figure(make_figure({{{{0, 0}, {1, 0}, {2, NaN_DOUBLE}, {4, 5}, {5, NaN_DOUBLE}}}})),
        HasSubstr("L68.00 130.00 132.00 130.00M324.00 80.00L324.00 80.00\""));
}

TEST(SvgFigure, WritesNoNumberThatIsNotFinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::string svg = draw_figure(make_figure(
        {{{{0, infinity}, {1, NaN_DOUBLE}, {NaN_DOUBLE, 1}, {3, -infinity}, {4, 1e300}}}}));
    EXPECT_THAT(svg, AllOf(Not(HasSubstr("nan")), Not(HasSubstr("inf"))));
    EXPECT_THAT(svg, HasSubstr("M324.00 -100000.00"));
}

TEST(SvgFigure, EscapesTexts) {
    Figure figure = make_figure({{{{0, 0}}, "<b>"}});
    figure.title = "a & </svg>\n";
    figure.panels[0].x.title = "1 > 0";
    EXPECT_THAT(draw_figure(figure),
                AllOf(HasSubstr(">a &amp; &lt;/svg&gt; </text>"), HasSubstr(">1 &gt; 0</text>"),
                      HasSubstr(">&lt;b&gt;</text>"), Not(HasSubstr("<b>"))));
}

TEST(SvgFigure, DrawsGuidesBelowTheLines) {
    const std::string svg = draw_figure(
        make_figure({{{{0, 1}, {8, 1}}}, {.points = {{2, 0}, {2, 9}}, .is_guide = true}}));
    EXPECT_LT(svg.find("class=\"guide\""), svg.find("class=\"line\""));
}

TEST(SvgFigure, GivesEachPanelItsPlace) {
    Figure figure = make_figure({});
    figure.panels.push_back(figure.panels[0]);
    const std::string svg = draw_figure(figure);
    EXPECT_THAT(svg, AllOf(StartsWith("<svg "), HasSubstr("width=\"600\" height=\"364\""),
                           HasSubstr("M68.00 30.00V130.00"), HasSubstr("M68.00 212.00V312.00")));
}

TEST(LineColours, AreDifferentForThirtyTwoLines) {
    std::set<std::string_view> colours;
    for (std::size_t i = 0; i < 32; ++i) {
        colours.insert(line_colour(i));
    }
    EXPECT_EQ(colours.size(), 32U);
    EXPECT_EQ(line_colour(32), line_colour(0));
}

} // namespace
} // namespace talvora::host

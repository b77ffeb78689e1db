// What stands in the page; what it draws is tested in a browser (tests/host/pictures/page).
#include "host/pictures/plot_page.h"
#include "host/text/failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::Not;

Plot make_plot(std::vector<float> samples, const std::string& text = "Walk") {
    const PlotLine line{.label = text, .step = 0.5, .samples = std::move(samples)};
    return {text, {{text, "time (s)", text, {line}}}, {}, {}};
}

TEST(PlotPageText, HoldsEverySampleInBase64) {
    // printf '\0\0\x80\x3f\0\0\0\xc0\0\0\xc0\x7f' | base64: 1, -2, NaN
    EXPECT_THAT(make_plot_page(make_plot({1, -2, std::numeric_limits<float>::quiet_NaN()})),
                HasSubstr("\"samples\":\"AACAPwAAAMAAAMB/\""));
    EXPECT_THAT(make_plot_page(make_plot({1})), HasSubstr("\"samples\":\"AACAPw==\""));
    EXPECT_THAT(make_plot_page(make_plot({1, -2})), HasSubstr("\"samples\":\"AACAPwAAAMA=\""));
}

TEST(PlotPageText, LetsNoTextOutOfItsPlace) {
    const std::string page = make_plot_page(make_plot({1}, "</script><b>&\"'"));
    EXPECT_THAT(page, Not(HasSubstr("</script><b>")));
    EXPECT_THAT(page, HasSubstr("<title>&lt;/script&gt;&lt;b&gt;&amp;\"'</title>"));
    EXPECT_THAT(page, HasSubstr("\"label\":\"\\u003c/script>\\u003cb>&\\\"'\""));
}

TEST(PlotPageText, ReplacesBytesThatAreNoText) {
    EXPECT_THAT(make_plot_page(make_plot({1}, "a\xFF")), HasSubstr("\"label\":\"a\\ufffd\""));
}

TEST(PlotPageText, RepeatsTheLicenceOfTheChartsAndAllowsNoLoading) {
    const std::string page = make_plot_page(make_plot({1}));
    EXPECT_THAT(page, HasSubstr("Copyright (c) 2022 Leon Sorokin"));
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    EXPECT_THAT(page, Not(HasSubstr(" src=")));
}

TEST(PlotPageText, IsTheSameForTheSamePlot) {
    EXPECT_EQ(make_plot_page(make_plot({1, 2})), make_plot_page(make_plot({1, 2})));
}

TEST(PlotPageText, RefusesMoreSamplesThanABrowserOpens) {
    try {
        make_plot_page(make_plot({1, 2, 3}), 2);
        FAIL() << "was not refused";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Input);
        EXPECT_STREQ(failure.what(), "3 samples, a page holds at most 2");
    }
}

} // namespace
} // namespace talvora::host

#include "host/pictures/plot_data.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A sample as "position:value", a cut as "position:-".
std::vector<std::string> thin(const std::vector<float>& samples, std::size_t first,
                              std::size_t last, std::size_t pixel_count) {
    std::vector<std::string> texts;
    for (const ThinSample& sample : thin_samples(samples, first, last, pixel_count)) {
        const std::string value =
            std::isnan(sample.value) ? "-" : std::to_string(std::lround(sample.value));
        texts.push_back(std::to_string(std::lround(sample.position)) + ":" + value);
    }
    return texts;
}

TEST(ThinSamples, KeepsEverySampleWhereThereIsRoom) {
    EXPECT_THAT(thin({5, NaN, 7, 8}, 0, 3, 2), ElementsAre("0:5", "1:-", "2:7", "3:8"));
    EXPECT_THAT(thin({5, 6, 7, 8}, 1, 2, 1), ElementsAre("1:6", "2:7"));
}

TEST(ThinSamples, KeepsTheExtremesOfEachPixelInTheirOrder) {
    EXPECT_THAT(thin({1, 9, 0, 3, 4, 8, 7, 2, 5}, 0, 8, 2),
                ElementsAre("1:9", "2:0", "5:8", "7:2"));
    EXPECT_THAT(thin({4, 4, 4}, 0, 2, 1), ElementsAre("0:4"));
}

TEST(ThinSamples, CutsWhereAPixelBeginsWithMissingSamples) {
    EXPECT_THAT(thin({1, 2, 3, NaN, 4, 5}, 0, 5, 2),
                ElementsAre("0:1", "2:3", "3:-", "4:4", "5:5"));
}

TEST(ThinSamples, CutsWhereAPixelHasMissingSamplesLater) {
    EXPECT_THAT(thin({1, NaN, 3, 4, 4, 5}, 0, 5, 2),
                ElementsAre("0:1", "2:3", "2:-", "3:4", "5:5"));
    EXPECT_THAT(thin({NaN, 1, NaN, 4, 4, 5}, 0, 5, 2),
                ElementsAre("0:-", "1:1", "2:-", "3:4", "5:5"));
}

TEST(ThinSamples, LeavesNothingOfAPixelWithoutValues) {
    EXPECT_THAT(thin({NaN, NaN, NaN, 1, 2, 3}, 0, 5, 2), ElementsAre("0:-", "3:1", "5:3"));
}

// ---------------------------------------------------------------------------

SignalSet make_set(Extents extents, std::optional<double> rate = 4) {
    std::size_t count = 1;
    for (const std::uint64_t extent : extents) {
        count *= extent;
    }
    return {"Imu/Rate", std::move(extents), rate, 2.5, std::vector<float>(count, 1)};
}

std::vector<std::string> labels(const PlotPanel& panel) {
    std::vector<std::string> texts;
    for (const PlotLine& line : panel.lines) {
        texts.push_back(full_label(line) + (line.is_before ? " before" : ""));
    }
    return texts;
}

TEST(MakePanel, LabelsLinesByTheirIndices) {
    const PlotPanel panel = make_panel({"a.h5", make_set({2, 1, 3})}, std::nullopt, {});
    EXPECT_EQ(panel.title, "Imu/Rate");
    EXPECT_EQ(panel.x_title, "time (s)");
    EXPECT_EQ(panel.y_title, "Rate");
    EXPECT_THAT(labels(panel), ElementsAre("[0]", "[1]"));
    EXPECT_EQ(panel.lines[1].start, 2.5);
    EXPECT_EQ(panel.lines[1].step, 0.25);
    EXPECT_THAT(labels(make_panel({"a.h5", make_set({3})}, std::nullopt, {})), ElementsAre("Rate"));
}

TEST(MakePanel, NamesLinesByTheirLabelsAndTheAxisByTheUnit) {
    SignalSet set = make_set({2, 1, 3});
    set.names.short_labels = {{"X", "Y"}, 0};
    set.names.units = {{"deg/s"}, 0};
    const PlotPanel panel = make_panel({"a.h5", set}, std::nullopt, {});
    EXPECT_EQ(panel.y_title, "Rate (deg/s)");
    EXPECT_THAT(labels(panel), ElementsAre("X", "Y"));
    set.names.units = {{"N", "Nm"}, 0};
    const PlotPanel several = make_panel({"a.h5", set}, PlotSource{"b.h5", set}, {});
    EXPECT_EQ(several.y_title, "Rate");
    EXPECT_THAT(labels(several), ElementsAre("a.h5 X (N) before", "a.h5 Y (Nm) before",
                                             "b.h5 X (N)", "b.h5 Y (Nm)"));
}

TEST(MakePanel, CountsSamplesWhereTheRateIsUnknown) {
    const PlotPanel panel = make_panel({"a.h5", make_set({3}, std::nullopt)}, std::nullopt, {});
    EXPECT_EQ(panel.x_title, "sample");
    EXPECT_EQ(panel.lines[0].start, 0.0);
    EXPECT_EQ(panel.lines[0].step, 1.0);
}

TEST(MakePanel, PutsWhatCameOfASetOverItInTheSameColours) {
    const PlotPanel panel =
        make_panel({"a.h5", make_set({2, 3})}, PlotSource{"b.h5", make_set({2, 3})}, {});
    EXPECT_THAT(labels(panel),
                ElementsAre("a.h5 [0] before", "a.h5 [1] before", "b.h5 [0]", "b.h5 [1]"));
    EXPECT_EQ(panel.lines[1].colour_index, panel.lines[3].colour_index);
}

TEST(MakePanel, KeepsTheChosenLinesAlone) {
    const PlotChoice choice{.lines = {2, 7}, .y_title = "rate (deg/s)"};
    const PlotPanel panel = make_panel({"a.h5", make_set({3, 2})}, std::nullopt, choice);
    EXPECT_THAT(labels(panel), ElementsAre("[2]"));
    EXPECT_EQ(panel.y_title, "rate (deg/s)");
    EXPECT_THAT(make_panel({"a.h5", make_set({3, 0})}, std::nullopt, {}).lines, IsEmpty());
}

TEST(StackLines, GivesEachLineAPanelAndKeepsBeforeAndAfterTogether) {
    const PlotPanel panel =
        make_panel({"a.h5", make_set({2, 1, 3})}, PlotSource{"b.h5", make_set({2, 1, 3})}, {});
    const std::vector<PlotPanel> stacked = stack_lines(panel);
    ASSERT_EQ(stacked.size(), 2U);
    EXPECT_EQ(stacked[1].title, "Imu/Rate[1]");
    EXPECT_EQ(stacked[1].x_title, panel.x_title);
    EXPECT_THAT(labels(stacked[1]), ElementsAre("a.h5 [1] before", "b.h5 [1]"));
}

TEST(CountChosen, CountsLinesOfTheSetOnce) {
    const SignalSet set = make_set({4, 1, 3});
    EXPECT_EQ(count_chosen(set, {}), 4U);
    EXPECT_EQ(count_chosen(set, {.lines = {1, 1, 3, 9}, .y_title = ""}), 2U);
}

} // namespace
} // namespace talvora::host

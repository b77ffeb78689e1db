#include "host/tables/csv_export.h"
#include "host/tables/csv_reader.h"
#include "host/tables/table_import.h"
#include "host/text/failure.h"
#include "host/tree/memory_tree.h"
#include "host/tree/tree_rules.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <random>
#include <utility>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

SignalSet make_set(const std::string& path, Extents extents, std::vector<float> samples,
                   std::optional<double> rate = 10) {
    return {path, std::move(extents), rate, 0, std::move(samples)};
}

struct Exported {
    std::string text;
    ExportReport report;
};

Exported export_all(const std::vector<SignalSet>& sets) {
    Exported result;
    result.report =
        export_sets(sets, "walk.h5", [&](std::string_view piece) { result.text += piece; });
    return result;
}

std::string failure_text(const std::vector<SignalSet>& sets) {
    std::string text;
    try {
        export_sets(sets, "walk.h5", [&](std::string_view piece) { text += piece; });
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Input);
        EXPECT_THAT(text, IsEmpty()) << "something was written";
        return failure.what();
    }
    return "did not fail";
}

TEST(ExportSets, WritesAColumnPerLineAfterTheTimes) {
    const auto result = export_all({make_set("Imu/Rate", {2, 1, 3}, {1, 2, 3, -4, 0.1F, 1e-30F}),
                                    make_set("Imu/Up", {1, 1, 3}, {-0.0F, 16777216, 5})});
    EXPECT_EQ(result.text, "Time (s),Rate[0],Rate[1],Up\n"
                           "0,1,-4,-0\n"
                           "0.1,2,0.1,16777216\n"
                           "0.2,3,1e-30,5\n");
    EXPECT_EQ(result.report.row_count, 3U);
    EXPECT_THAT(result.report.columns, ElementsAre("Rate[0]", "Rate[1]", "Up"));
}

TEST(ExportSets, NamesColumnsByLabelsAndUnits) {
    SignalSet rate = make_set("Imu/Rate", {2, 1, 1}, {1, 2});
    rate.names.short_labels = {{"X", "Y"}, 0};
    rate.names.units = {{"deg/s"}, 0};
    SignalSet means = make_set("Imu/Means", {2, 2, 1}, {1, 2, 3, 4});
    means.names.short_labels = {{"left", "right"}, 1};
    means.names.units = {{"N", "Nm"}, 0};
    const auto result = export_all({rate, means});
    EXPECT_EQ(result.text, "Time (s),Rate.X (deg/s),Rate.Y (deg/s),Means.left[0] (N),"
                           "Means.right[0] (N),Means.left[1] (Nm),Means.right[1] (Nm)\n"
                           "0,1,2,1,2,3,4\n");
    EXPECT_THAT(result.report.import_words,
                testing::Contains("Rate=Rate.X (deg/s),Rate.Y (deg/s)"));
}

TEST(ExportSets, NamesTheUnitOfASetThatItsNameTellsOnce) {
    SignalSet set = make_set("Imu/X (deg_s)", {1}, {1});
    set.names.units = {{"deg/s"}, 0};
    EXPECT_EQ(export_all({set}).text, "Time (s),X (deg/s)\n0,1\n");
}

TEST(ExportSets, LeavesTheCellsOfMissingSamplesEmpty) {
    EXPECT_EQ(export_all({make_set("X", {3}, {1, NaN, 3})}).text, "Time (s),X\n0,1\n0.1,\n0.2,3\n");
}

TEST(ExportSets, CountsSamplesWhereTheRateIsUnknown) {
    EXPECT_EQ(export_all({make_set("X", {2}, {5, 6}, std::nullopt)}).text, "Sample,X\n0,5\n1,6\n");
}

TEST(ExportSets, BeginsAtTheStartTime) {
    SignalSet set = make_set("X", {2}, {5, 6}, 4);
    set.start_time = 15.5;
    EXPECT_EQ(export_all({set}).text, "Time (s),X\n15.5,5\n15.75,6\n");
}

TEST(ExportSets, NumbersTheDimensionsThatHaveMoreThanOneIndex) {
    const auto result = export_all({make_set("G/X", {2, 1, 2, 1}, {1, 2, 3, 4})});
    EXPECT_EQ(result.text, "Time (s),X[0][0],X[0][1],X[1][0],X[1][1]\n0,1,2,3,4\n");
}

TEST(ExportSets, NamesColumnsBelowTheSharedGroup) {
    const auto result =
        export_all({make_set("Walk/Left/X", {1}, {1}), make_set("Walk/LeftHand/X", {1}, {2})});
    EXPECT_THAT(result.report.columns, ElementsAre("Left/X", "LeftHand/X"));
    EXPECT_THAT(result.report.import_words, IsEmpty());
}

TEST(ExportSets, QuotesNamesThatCouldBeMistaken) {
    const auto result = export_all({make_set("G/a,b;c \"d\"", {1}, {1})});
    EXPECT_THAT(result.text, testing::StartsWith("Time (s),\"a,b;c \"\"d\"\"\"\n"));
}

TEST(ExportSets, LeavesNamesAsTheyAreUnlessTold) {
    EXPECT_EQ(export_all({make_set("G/=cmd|'calc'!A0", {1}, {-1})}).text,
              "Time (s),=cmd|'calc'!A0\n0,-1\n");
}

TEST(ExportSets, KeepsSpreadsheetsFromTakingNamesForFormulas) {
    const std::vector<SignalSet> sets = {
        make_set("G/=1", {1}, {-1}),        make_set("G/+1", {1}, {-1}),
        make_set("G/-1", {2, 1}, {-1, -2}), make_set("G/@1", {1}, {-1}),
        make_set("G/\t1", {1}, {-1}),       make_set("G/\r1", {1}, {-1}),
        make_set("G/=1,2", {1}, {-1}),      make_set("G/1=", {1}, {-1}),
        make_set("G/'=", {1}, {-1})};
    std::string text;
    export_sets(sets, "walk.h5", [&](std::string_view piece) { text += piece; },
                {.no_formulas = true});
    EXPECT_EQ(text, "Time (s),'=1,'+1,'-1[0],'-1[1],'@1,\"'\t1\",\"'\r1\",\"'=1,2\",1=,'=\n"
                    "0,-1,-1,-1,-2,-1,-1,-1,-1,-1,-1\n");
}

TEST(ExportSets, KnowsTheWayBackOfNamesThatAreNoFormulas) {
    const std::vector<SignalSet> sets = {make_set("G/-X", {2, 1}, {1, 2})};
    std::string text;
    const ExportReport report = export_sets(
        sets, "walk.h5", [&](std::string_view piece) { text += piece; }, {.no_formulas = true});
    EXPECT_THAT(report.import_words,
                ElementsAre("--group", "G", "--rate", "10", "--set", "-X='-X[0],'-X[1]"));
}

TEST(ExportSets, NamesTheSetsOfWhichTheWayBackMakesOtherNames) {
    SignalSet rate = make_set("G/Rate", {2, 1, 1}, {1, 2});
    rate.names.short_labels = {{"X", "Y"}, 0};
    rate.names.units = {{"deg/s"}, 0};
    SignalSet force = make_set("G/Force (N)", {1}, {1});
    force.names.units = {{"N"}, 0};
    const SignalSet lines = make_set("G/Lines", {2, 1}, {1, 2});
    EXPECT_THAT(export_all({rate, force, lines}).report.renamed, IsEmpty());
    const auto other = export_all({make_set("G/X (N)", {1}, {1}), make_set("G/a[0]", {1}, {1})});
    EXPECT_THAT(other.report.renamed, ElementsAre("G/X (N)", "G/a[0]"));
    const std::vector<SignalSet> marked = {make_set("G/=1", {1}, {1}), make_set("G/X", {1}, {1})};
    const ExportReport report =
        export_sets(marked, "walk.h5", [](std::string_view) {}, {.no_formulas = true});
    EXPECT_THAT(report.renamed, ElementsAre("G/=1"));
}

TEST(ExportSets, RefusesSetsThatShareNoTimes) {
    EXPECT_EQ(failure_text({make_set("A", {2}, {1, 2}), make_set("B", {3}, {1, 2, 3})}),
              "walk.h5: 'A' has 2 samples at 10 Hz from 0 s, 'B' 3 samples at 10 Hz from 0 s: they "
              "share no column of times");
    EXPECT_THAT(failure_text({make_set("A", {1}, {1}), make_set("B", {1}, {1}, 20)}),
                HasSubstr("'B' 1 sample at 20 Hz"));
    EXPECT_THAT(failure_text({make_set("A", {1}, {1}), make_set("B", {1}, {1}, std::nullopt)}),
                HasSubstr("'B' 1 sample of unknown rate"));
    SignalSet late = make_set("B", {1}, {1});
    late.start_time = 2;
    EXPECT_THAT(failure_text({make_set("A", {1}, {1}), late}), HasSubstr("from 2 s"));
}

TEST(ExportSets, RefusesTwoColumnsOfOneName) {
    EXPECT_EQ(failure_text({make_set("A", {2, 1}, {1, 2}), make_set("A[1]", {1}, {1})}),
              "walk.h5: two columns named 'A[1]'");
    EXPECT_EQ(failure_text({make_set("Time (s)", {1}, {1})}),
              "walk.h5: two columns named 'Time (s)'");
}

TEST(ExportSets, WarnsOfColumnsWithoutAnyValue) {
    const auto result = export_all({make_set("G/X", {2, 1}, {1, NaN})});
    EXPECT_THAT(result.report.warnings,
                ElementsAre("walk.h5: column 'X[1]' is empty: all of its samples are missing"));
    EXPECT_THAT(result.report.import_words, IsEmpty());
}

// ---------------------------------------------------------------------------
// There and back

std::vector<SetOfColumns> read_set_words(const std::vector<std::string>& words) {
    std::vector<SetOfColumns> sets;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        if (words[i] == "--set") {
            sets.push_back(parse_set_of_columns(words[i + 1]));
        }
    }
    return sets;
}

TEST(ExportSets, GivesTheRateThatTheTimesDoNotTellToTheWayBack) {
    for (const auto& [count, rate] : {std::pair{2, 48000.0},
                                      {3, 48000.0},
                                      {2, 44100.0},
                                      {3, 0.001},
                                      {200, 1000 / 3.0},
                                      {3, 1e7}}) {
        SignalSet set = make_set("G/X", {static_cast<std::uint64_t>(count)},
                                 std::vector<float>(static_cast<std::size_t>(count), 1),
                                 static_cast<float>(rate));
        set.start_time = 1.7e9;
        const Exported exported = export_all({set});
        MemoryTree tree;
        ImportOptions options;
        options.group = "G";
        const auto& words = exported.report.import_words;
        options.sets = read_set_words(words);
        if (const auto word = std::ranges::find(words, "--rate"); word != words.end()) {
            options.sample_rate = std::stod(word[1]);
        }
        import_table(parse_csv(exported.text, "walk.csv"), options, tree, "walk.csv");
        const SignalSet back = read_signal_set(tree, set.path);
        EXPECT_EQ(static_cast<float>(*back.sample_rate), static_cast<float>(rate));
        EXPECT_EQ(back.start_time, set.start_time);
        EXPECT_EQ(back.line_length(), set.line_length());
    }
}

TEST(ExportSets, HasNoWayBackWhereTheTimesContradictTheRate) {
    SignalSet set = make_set("G/X", {3}, {1, 2, 3}, 1e7);
    set.start_time = 1.7e10; // of so few digits that all times are alike
    EXPECT_THAT(export_all({set}).report.import_words, IsEmpty());
}

// Any bits but those of NaN, so that exponents of all sizes come up.
std::vector<float> make_random_samples(std::size_t count) {
    std::mt19937 random(7);
    std::vector<float> samples;
    while (samples.size() < count) {
        const float sample = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        samples.push_back(std::isnan(sample) ? 0.5F : sample);
    }
    return samples;
}

TEST(ExportSets, WritesWhatImportReadsBackBitForBit) {
    std::vector<float> samples = make_random_samples(3 * 4000);
    samples[1] = samples[17] = samples[8000] = NaN;
    SignalSet rate = make_set("Imu/a \"b\", c", {3, 1, 4000}, samples, 100.002625);
    rate.start_time = 15.007977;
    SignalSet up = make_set("Imu/Up", {1, 1, 4000}, make_random_samples(4000), 100.002625);
    up.start_time = rate.start_time;
    const Exported exported = export_all({rate, up});

    MemoryTree tree;
    ImportOptions options;
    options.group = "Imu";
    options.sets = read_set_words(exported.report.import_words);
    import_table(parse_csv(exported.text, "walk.csv"), options, tree, "walk.csv");

    const SignalSet back = read_signal_set(tree, rate.path);
    EXPECT_EQ(back.extents, rate.extents);
    EXPECT_EQ(static_cast<float>(*back.sample_rate), 100.002625F);
    EXPECT_EQ(static_cast<float>(back.start_time), 15.007977F);
    const auto& floats = std::get<std::vector<float>>(back.samples);
    ASSERT_EQ(floats.size(), samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        ASSERT_TRUE(std::bit_cast<std::uint32_t>(floats[i]) ==
                        std::bit_cast<std::uint32_t>(samples[i]) ||
                    (std::isnan(floats[i]) && std::isnan(samples[i])))
            << i;
    }
    EXPECT_EQ(read_signal_set(tree, up.path).samples, up.samples);
}

} // namespace
} // namespace talvora::host

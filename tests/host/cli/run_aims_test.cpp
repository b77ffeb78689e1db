// What a step is to come to, in the place of parameters: edges, a rate; and sets one by one.
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <filesystem>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class RunAims : public CommandLine {
  protected:
    // 400 samples each: Fast/X and Fast/Y at 1000 Hz, Slow/X and Slow/Y at 200 Hz.
    void SetUp() override {
        std::string rows = "X,Y\n";
        for (int i = 0; i < 400; ++i) {
            rows += std::to_string(i % 7) + "," + std::to_string(i % 5) + "\n";
        }
        write_file(folder_ / "rows.csv", rows);
        import({"--group", "All/Fast", "--rate", "1000"});
        import({"--group", "All/Slow", "--rate", "200", "--append"});
    }

    void import(const Program::Words& words) const {
        Program::Words all = {"import", "rows.csv", "-o", "in.h5"};
        all.insert(all.end(), words.begin(), words.end());
        ASSERT_EQ(run(all).exit_code, 0);
    }

    ProgramResult run_unit(const std::string& unit, const Program::Words& words,
                           const std::string& output) const {
        Program::Words all = {"run", unit, "in.h5", "-o", output};
        all.insert(all.end(), words.begin(), words.end());
        return run(all, SAME_TIME);
    }
    ProgramResult filter(const Program::Words& words, const std::string& output = "out.h5") const {
        return run_unit("apply-set-butterworth", words, output);
    }
    ProgramResult reduce(const Program::Words& words, const std::string& output = "out.h5") const {
        return run_unit("apply-set-downsample", words, output);
    }

    // The samples and attributes of a set, as bits.
    StoredSamples samples(const std::string& file, const std::string& path) const {
        Hdf5Tree tree(folder_ / file, Hdf5Access::ReadOnly);
        const ObjectId set = tree.find(tree.root(), path).value();
        const Extents extents = tree.extents(set);
        const Extents starts(extents.size(), 0);
        return tree.read_stored(set, {starts, extents});
    }
    std::optional<AttributeValue> rate(const std::string& file, const std::string& path) const {
        Hdf5Tree tree(folder_ / file, Hdf5Access::ReadOnly);
        return tree.read_attribute(tree.find(tree.root(), path).value(), "SampleRate");
    }
    nlohmann::json last_record(const std::string& file) const {
        return nlohmann::json::parse(run({"history", file, "--json"}).output)["history"].back();
    }

    void expect_refused(const ProgramResult& result, int exit_code, const std::string& text) const {
        EXPECT_EQ(result.exit_code, exit_code) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(text));
        EXPECT_FALSE(fs::exists(folder_ / "out.h5"));
    }

    // Extracted and run again, it gives the same bytes.
    void expect_repeatable(const std::string& file) const {
        EXPECT_EQ(run({"recipe", "extract", file, "-o", "again.yaml", "--force"}).exit_code, 0);
        const auto again =
            run({"recipe", "run", "again.yaml", "in.h5", "-o", "again.h5", "--force"}, SAME_TIME);
        EXPECT_EQ(again.exit_code, 0) << again.errors;
        EXPECT_EQ(read_file(folder_ / "again.h5"), read_file(folder_ / file));
        const auto resumed =
            run({"recipe", "run", "again.yaml", "in.h5", "-o", file, "--resume"}, SAME_TIME);
        EXPECT_EQ(resumed.exit_code, 0) << resumed.errors;
    }

    const ProgramOptions SAME_TIME = {.environment = {{"SOURCE_DATE_EPOCH", "1700000000"}}};
};

// ---------------------------------------------------------------------------
// Edges

TEST_F(RunAims, ParametersAreToldOfWhatWasDone) {
    ASSERT_EQ(
        run({"attributes", "in.h5::All/Fast/*", "--remove", "SampleRate", "--in-place"}).exit_code,
        0);
    const auto result = filter({"SourceGroup=All/Fast", "Order=4", "--edge", "6"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.errors, testing::StartsWith("error: in.h5: apply-set-butterworth: "));
}

TEST_F(RunAims, AFilterForEdgesIsTheOneThatDesignGives) {
    const auto design =
        nlohmann::json::parse(run({"design", "ZeroLagBandPass", "--edge", "20", "--edge", "450",
                                   "--order", "4", "--rate", "1000", "--json"})
                                  .output)["parameters"];
    const auto result = filter({"SourceGroup=All/Fast", "Bandform=ZeroLagBandPass", "Order=4",
                                "--edge", "20", "--edge", "450"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.errors, AllOf(HasSubstr("info: in.h5: apply-set-butterworth: BandWidth="),
                                     HasSubstr(" CutoffFrequency="),
                                     HasSubstr(" for 20 and 450 Hz"), Not(HasSubstr("warning"))));
    const auto record = last_record("out.h5");
    EXPECT_EQ(record["parameters"]["CutoffFrequency"], design["CutoffFrequency"]);
    EXPECT_EQ(record["parameters"]["BandWidth"], design["BandWidth"]);
    EXPECT_EQ(record["edges"], nlohmann::json::parse("[20.0, 450.0]"));
    filter({"SourceGroup=All/Fast", "Bandform=ZeroLagBandPass", "Order=4",
            "CutoffFrequency=" + design["CutoffFrequency"].dump(),
            "BandWidth=" + design["BandWidth"].dump()},
           "by_parameters.h5");
    EXPECT_EQ(samples("out.h5", "All/Fast/X"), samples("by_parameters.h5", "All/Fast/X"));
    EXPECT_THAT(run({"recipe", "extract", "out.h5"}).output,
                AllOf(HasSubstr("    edges: [20.0, 450.0]\n"), Not(HasSubstr("CutoffFrequency"))));
    expect_repeatable("out.h5");
}

// The values are worked out step by step in docs/units/butterworth.md.
TEST_F(RunAims, ParametersAreThoseOfTheClosedForm) {
    EXPECT_EQ(filter({"SourceGroup=All/Fast", "Bandform=ZeroLagBandPass", "Order=4", "--edge", "40",
                      "--edge", "60"})
                  .exit_code,
              0);
    const auto parameters = last_record("out.h5")["parameters"];
    EXPECT_NEAR(parameters["CutoffFrequency"].get<double>(), 90.581, 5e-4);
    EXPECT_NEAR(parameters["BandWidth"].get<double>(), 165.934, 5e-4);
}

TEST_F(RunAims, EachFileHasParametersForItsOwnRate) {
    fs::create_directory(folder_ / "made");
    write_file(folder_ / "one.csv", read_file(folder_ / "rows.csv"));
    for (const char* rate : {"500", "250"}) {
        ASSERT_EQ(run({"import", "one.csv", "-o", std::string(rate) + ".h5", "--rate", rate,
                       "--group", "All"})
                      .exit_code,
                  0);
    }
    const auto result = run({"run", "apply-set-butterworth", "SourceGroup=All", "Order=4", "--edge",
                             "20", "500.h5", "250.h5", "--out-dir", "made", "--jobs", "2"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    const auto cutoff = [&](const std::string& file) {
        return last_record(file)["parameters"]["CutoffFrequency"].get<double>();
    };
    EXPECT_NE(cutoff("made/500.h5"), cutoff("made/250.h5"));
}

TEST_F(RunAims, AFilterForAnEdgeOfALowPassIsRepeated) {
    EXPECT_EQ(filter({"SourceGroup=All/Slow", "Order=4", "--edge", "20"}).exit_code, 0);
    expect_repeatable("out.h5");
}

TEST_F(RunAims, EdgesAskForOneRate) {
    expect_refused(filter({"SourceGroup=All", "ScanRecursive=true", "Order=4", "--edge", "20"}), 1,
                   "error: in.h5: apply-set-butterworth: a filter for 20 Hz is another one at each "
                   "rate, and the sets have 2: All/Fast/X (1000 Hz), All/Slow/X (200 Hz)\n"
                   "hint: --set-by-set");
    expect_refused(filter({"SourceGroup=All/Slow", "Order=4", "--edge", "120"}), 1,
                   "at 200 Hz: an edge of 120 Hz cannot be had");
    expect_refused(filter({"SourceGroup=All/None", "Order=4", "--edge", "20"}), 3, "None");
}

TEST_F(RunAims, EdgesAreCheckedBeforeAnyFile) {
    expect_refused(filter({"SourceGroup=All", "Order=4", "--edge", "20", "CutoffFrequency=5"}), 2,
                   "parameter 'CutoffFrequency' excludes edges");
    expect_refused(filter({"SourceGroup=All", "Order=4", "--edge", "20", "--edge", "30"}), 2,
                   "ZeroLagLowPass has one edge, 2 given");
    expect_refused(filter({"SourceGroup=All", "Order=4", "Bandform=ZeroLagBandStop", "--edge", "30",
                           "--edge", "20"}),
                   2, "the edges 30 and 20 Hz are not ascending");
    expect_refused(filter({"SourceGroup=All", "Order=1", "--edge", "20"}), 2, "an order of 1");
    expect_refused(run_unit("apply-set-rectify", {"SourceGroup=All", "--edge", "20"}, "out.h5"), 2,
                   "the unit makes none");
}

// ---------------------------------------------------------------------------
// Rates

TEST_F(RunAims, ARateIsReachedAsByAHint) {
    write_file(folder_ / "tick.csv", "Tick\n0\n");
    fs::copy_file(folder_ / "in.h5", folder_ / "hinted.h5");
    ASSERT_EQ(run({"import", "tick.csv", "-o", "hinted.h5", "--append", "--group", "Hint", "--rate",
                   "50"})
                  .exit_code,
              0);
    ASSERT_EQ(run({"run", "apply-set-downsample", "SourceGroup=All/Fast", "HintGroup=Hint",
                   "hinted.h5", "-o", "by_hint.h5"})
                  .exit_code,
              0);
    const auto result = reduce({"SourceGroup=All/Fast", "--to-rate", "50"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    for (const char* set : {"All/Fast/X", "All/Fast/Y", "All/Slow/X"}) {
        EXPECT_EQ(samples("out.h5", set), samples("by_hint.h5", set));
        EXPECT_EQ(rate("out.h5", set), rate("by_hint.h5", set));
    }
    EXPECT_EQ(rate("out.h5", "All/Fast"), rate("by_hint.h5", "All/Fast"));
    EXPECT_THAT(run({"tree", "out.h5"}).output, Not(HasSubstr("hint")));
    EXPECT_EQ(last_record("out.h5")["to_rate"], 50.0);
    EXPECT_TRUE(last_record("out.h5")["parameters"]["HintGroup"].is_null());
    expect_repeatable("out.h5");
}

TEST_F(RunAims, ARateThatCannotBeReachedIsToldWithThoseThatCan) {
    // 1000 / 34 and 1000 / 33, as 32-bit floats.
    expect_refused(reduce({"SourceGroup=All/Fast", "--to-rate", "30"}), 1,
                   "error: in.h5: apply-set-downsample: 30 Hz is no rate that every k-th sample "
                   "has, with a whole k: All/Fast/X (1000 Hz): the nearest are 29.411764 and "
                   "30.30303 Hz, All/Fast/Y (1000 Hz)");
    for (const auto& [target, nearest] : {std::pair("30", "30.30303"), {"29.5", "29.411764"}}) {
        EXPECT_THAT(
            reduce({"SourceGroup=All/Fast", "--to-rate", target}).errors,
            HasSubstr(fmt::format("hint: --to-rate {0}, in a recipe to_rate: {0}\n", nearest)));
    }
    expect_refused(reduce({"SourceGroup=All/Slow", "--to-rate", "400"}), 1,
                   "All/Slow/X (200 Hz): that is its highest");
    EXPECT_EQ(reduce({"SourceGroup=All/Fast", "--to-rate", "30.30303"}, "near.h5").exit_code, 0);
}

TEST_F(RunAims, ARateIsCheckedBeforeAnyFile) {
    expect_refused(reduce({"SourceGroup=All/Fast", "--to-rate", "0"}), 2, "a rate of 0 Hz");
    expect_refused(reduce({"SourceGroup=All/Fast", "--to-rate", "50", "HintSet=All/Slow/X"}), 2,
                   "parameter 'HintSet' excludes a rate to come down to");
    expect_refused(reduce({"SourceGroup=All/Fast"}), 2, "neither 'HintGroup' nor 'HintSet'");
    expect_refused(filter({"SourceGroup=All", "CutoffFrequency=5", "Order=4", "--to-rate", "50"}),
                   2, "the unit changes no rates");
}

// ---------------------------------------------------------------------------
// Set by set

TEST_F(RunAims, SetsOfSeveralRatesAreReducedEachByItsOwn) {
    const Program::Words words = {"SourceGroup=All", "ScanRecursive=true", "--to-rate", "100"};
    expect_refused(reduce(words), 1, "time-base");
    Program::Words each = words;
    each.emplace_back("--set-by-set");
    const auto result = reduce(each);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    for (const char* set : {"All/Fast/Y", "All/Slow/Y"}) {
        EXPECT_EQ(rate("out.h5", set), AttributeValue(100.0F)) << set;
    }
    reduce({"SourceSets=All/Slow/Y", "--to-rate", "100"}, "one.h5");
    EXPECT_EQ(samples("out.h5", "All/Slow/Y"), samples("one.h5", "All/Slow/Y"));
    EXPECT_EQ(last_record("out.h5")["set_by_set"], true);
    EXPECT_EQ(last_record("out.h5")["sets"].size(), 4U);
    expect_repeatable("out.h5");
}

TEST_F(RunAims, SetsOfSeveralRatesHaveFiltersOfTheirOwn) {
    const auto result = filter(
        {"SourceGroup=All", "ScanRecursive=true", "Order=4", "--edge", "20", "--set-by-set"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    filter({"SourceGroup=All/Slow", "Order=4", "--edge", "20"}, "slow.h5");
    filter({"SourceGroup=All/Fast", "Order=4", "--edge", "20"}, "fast.h5");
    EXPECT_EQ(samples("out.h5", "All/Slow/X"), samples("slow.h5", "All/Slow/X"));
    EXPECT_EQ(samples("out.h5", "All/Fast/Y"), samples("fast.h5", "All/Fast/Y"));
    const auto record = last_record("out.h5");
    EXPECT_TRUE(record["parameters"]["CutoffFrequency"].is_null());
    EXPECT_EQ(record["found"][0]["set"], "All/Fast/X");
    EXPECT_EQ(record["found"][0]["parameters"]["CutoffFrequency"],
              last_record("fast.h5")["parameters"]["CutoffFrequency"]);
    EXPECT_THAT(run({"history", "out.h5"}).output, HasSubstr("found for All/Slow/X: {"));
    expect_repeatable("out.h5");
}

TEST_F(RunAims, UnitsThatTakeNoSingleSetsAreNotRunSetBySet) {
    expect_refused(run_unit("average-set",
                            {"SourceGroup=All/Fast", "DestinationGroup=Means", "--set-by-set"},
                            "out.h5"),
                   2, "takes no single sets by SourceSets");
}

// ---------------------------------------------------------------------------
// Recipes

TEST_F(RunAims, AreKeysOfASteps) {
    write_file(folder_ / "steps.yaml", "variables: {edge: 20}\n"
                                       "steps:\n"
                                       "  - unit: apply-set-butterworth\n"
                                       "    parameters: {SourceGroup: All, ScanRecursive: true, "
                                       "Order: 4}\n"
                                       "    edges: ${edge}\n"
                                       "    set_by_set: true\n"
                                       "  - unit: apply-set-downsample\n"
                                       "    parameters: {SourceGroup: All/Fast}\n"
                                       "    to_rate: 100\n");
    const auto check = run({"recipe", "check", "steps.yaml", "in.h5"});
    EXPECT_EQ(check.exit_code, 0) << check.errors;
    const auto result = run({"recipe", "run", "steps.yaml", "in.h5", "-o", "out.h5"}, SAME_TIME);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(rate("out.h5", "All/Fast/X"), AttributeValue(100.0F));
    expect_repeatable("out.h5");
}

TEST_F(RunAims, OfRecipesAreChecked) {
    const auto expect_problem = [&](const std::string& step, int exit_code,
                                    const std::string& text) {
        write_file(folder_ / "steps.yaml", "steps:\n  - unit: apply-set-butterworth\n"
                                           "    parameters: {SourceGroup: All, "
                                           "ScanRecursive: true, Order: 4}\n" +
                                               step);
        const auto result = run({"recipe", "check", "steps.yaml", "in.h5"});
        EXPECT_EQ(result.exit_code, exit_code) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(text));
    };
    expect_problem("", 2, "parameter 'CutoffFrequency' is missing");
    expect_problem("    edges: [20, 30]\n", 2, "steps.yaml:3:5: ZeroLagLowPass has one edge");
    expect_problem("    edges: [x]\n", 2, "parameter 'edges' cannot be 'x'");
    expect_problem("    set_by_set: 1\n    edges: 20\n", 2, "'set_by_set'");
    expect_problem("    edges: 20\n", 1,
                   "in.h5: apply-set-butterworth: a filter for 20 Hz is another one at each rate");
}

} // namespace
} // namespace talvora::host

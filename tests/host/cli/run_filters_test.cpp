// What run tells of the filters that it applies.
#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <variant>

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class RunFilters : public CommandLine {
  protected:
    // 400 samples each: Fast/X and Fast/Y at 1000 Hz, Slow/X at 200 Hz.
    void import_sets() const {
        std::string rows = "X,Y\n";
        for (int i = 0; i < 400; ++i) {
            rows += std::to_string(i % 7) + "," + std::to_string(i % 5) + "\n";
        }
        write_file(folder_ / "fast.csv", rows);
        import({"--group", "All/Fast", "--rate", "1000"});
        import({"--group", "All/Slow", "--rate", "200", "--append"});
    }

    ProgramResult filter(const Program::Words& words) const {
        Program::Words all = {"run",
                              "apply-set-butterworth",
                              "SourceGroup=All",
                              "ScanRecursive=true",
                              "in.h5",
                              "-o",
                              "out.h5",
                              "--force"};
        all.insert(all.end(), words.begin(), words.end());
        return run(all);
    }

  private:
    void import(const Program::Words& words) const {
        Program::Words all = {"import", "fast.csv", "-o", "in.h5"};
        all.insert(all.end(), words.begin(), words.end());
        const auto result = run(all);
        ASSERT_EQ(result.exit_code, 0) << result.errors;
    }
};

TEST_F(RunFilters, WarnsOnceForEachRate) {
    import_sets();
    const auto result = filter({"CutoffFrequency=50", "Order=4", "Bandform=ZeroLagHighPass"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(
        result.errors,
        AllOf(
            HasSubstr("warning: in.h5: apply-set-butterworth: All/Slow/X, All/Slow/Y: at 200 Hz "
                      "both passes"),
            HasSubstr(
                "warning: in.h5: apply-set-butterworth: All/Fast/X, All/Fast/Y: at 1000 Hz both "
                "passes "
                "together are 3 dB down at 77.1499 Hz; the parameters suggest 50 "
                "Hz\nhint: if 50 Hz is meant: talvora-host design ZeroLagHighPass --edge 50 --rate "
                "1000 --order 4\n")));
    EXPECT_EQ(std::ranges::count(result.errors, '\n'), 4);
}

TEST_F(RunFilters, WarnsOfAnAcceptedEdgeBeyondHalfTheRateOnce) {
    import_sets();
    const auto result = filter({"CutoffFrequency=180", "Order=4", "--accept", "unusable-filter"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.errors,
                testing::StartsWith(
                    "warning: in.h5: apply-set-butterworth: unusable-filter (accepted): at 200 Hz "
                    "the edge at 180 Hz is not below half the rate, 100 Hz; the unit takes it as "
                    "it comes\n"));
    EXPECT_EQ(result.errors.find("at 200 Hz"), result.errors.rfind("at 200 Hz"));
}

TEST_F(RunFilters, SaysNothingOfAFilterThatIsAsItsParametersSuggest) {
    import_sets();
    EXPECT_THAT(filter({"CutoffFrequency=5", "Order=4"}).errors, IsEmpty());
    EXPECT_THAT(filter({"CutoffFrequency=5", "Order=4", "-v"}).errors,
                HasSubstr("at 1000 Hz 3 dB down at 5.0002"));
}

void expect_filters(const nlohmann::json& filters) {
    ASSERT_EQ(filters.size(), 2U);
    EXPECT_EQ(filters[0]["sample_rate"], 200.0);
    EXPECT_EQ(filters[1]["sample_rate"], 1000.0);
    EXPECT_EQ(filters[1]["pass_order"], 2);
    EXPECT_NEAR(filters[1]["three_db_points"][0], 5.0, 1e-3);
}

TEST_F(RunFilters, KeepsThemInTheHistoryAndTheDocument) {
    import_sets();
    const auto result = filter({"CutoffFrequency=5", "Order=4", "--json"});
    ASSERT_EQ(result.exit_code, 0) << result.errors;
    expect_filters(nlohmann::json::parse(result.output)["steps"][0]["filters"]);

    Hdf5Tree tree(folder_ / "out.h5", Hdf5Access::ReadOnly);
    const auto history = tree.read_attribute(tree.root(), "talvora_history");
    ASSERT_TRUE(history.has_value());
    expect_filters(nlohmann::json::parse(std::get<TextArray>(*history).values.at(0))["filters"]);
    EXPECT_THAT(run({"history", "out.h5"}).output,
                HasSubstr("\n  filter at 1000 Hz 3 dB down at 5.0002"));
}

} // namespace
} // namespace talvora::host

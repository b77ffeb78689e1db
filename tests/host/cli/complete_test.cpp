// What the shell is offered for the last word.
#include "tests/host/cli/cli_test.h"

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class Completion : public CommandLine {
  protected:
    std::string complete(const Program::Words& typed, const ProgramOptions& options = {}) const {
        Program::Words words = {"complete", "--"};
        words.insert(words.end(), typed.begin(), typed.end());
        const auto result = run(words, options);
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        return result.output;
    }
};

TEST_F(Completion, OffersUnitsByTheirCurrentNames) {
    EXPECT_EQ(complete({"describe", "average"}), "average-set\naverage-set-2\n");
    EXPECT_THAT(complete({"run", ""}),
                AllOf(HasSubstr("apply-set-butterworth\n"), Not(HasSubstr("\nset-butterworth"))));
}

TEST_F(Completion, OffersTheParametersThatTheUnitDeclares) {
    EXPECT_EQ(complete({"run", "apply-set-butterworth", "Band"}), "Bandform=\nBandWidth=\n");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "Band"}), "");
}

TEST_F(Completion, OffersTheWordsThatAValueIsOneOf) {
    EXPECT_EQ(complete({"run", "apply-set-butterworth", "Bandform=ZeroLagBand"}),
              "Bandform=ZeroLagBandPass\nBandform=ZeroLagBandStop\n");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "ScanRecursive="}),
              "ScanRecursive=true\nScanRecursive=false\n");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "SourceGroup="}), "");
    EXPECT_EQ(complete({"design", "ZeroLagBandP"}), "ZeroLagBandPass\n");
}

TEST_F(Completion, OffersGuardsToAccept) {
    EXPECT_EQ(complete({"run", "apply-set-rectify", "--accept", "nothing"}), "nothing-done\n");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "--out-dir", "nothing"}), "");
}

TEST_F(Completion, OffersTheParametersOfAUnitThatTheHostDoesNotKnow) {
    EXPECT_EQ(complete({"run", "test.trouble.fail", ""},
                       {.environment = {{"TALVORA_PLUGIN_PATH", TROUBLE_PLUGIN}}}),
              "Count=\n");
}

// What is no library could not be loaded, which would be an error.
TEST_F(Completion, LoadsNoLibraryThatTheLineNames) {
    write_file(folder_ / "other.so", "no library");
    for (const Program::Words& line :
         {Program::Words{"--plugin", "other.so", "run", ""},
          Program::Words{"--plugin=other.so", "describe", "average"},
          Program::Words{"run", "--plugin", "other.so", ""},
          Program::Words{"run", "apply-set-rectify", "--plugin", "other.so", "Scan"},
          Program::Words{"run", "--plugin", TROUBLE_PLUGIN, "test.trouble.fail", ""}}) {
        EXPECT_EQ(complete(line), "");
    }
    EXPECT_EQ(complete({"--plugin", "other.so", "design", "ZeroLagBandP"}), "ZeroLagBandPass\n");
}

} // namespace
} // namespace talvora::host

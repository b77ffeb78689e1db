// What the shell is offered for the last word.
#include "tests/host/cli/cli_test.h"

namespace talvora::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class Completion : public CommandLine {
  protected:
    std::string complete(const Program::Words& typed) const {
        Program::Words words = {"complete", "--"};
        words.insert(words.end(), typed.begin(), typed.end());
        const auto result = run(words);
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

TEST_F(Completion, OffersTheParametersOfAUnitThatTheHostDoesNotKnow) {
    EXPECT_EQ(complete({"--plugin", TROUBLE_PLUGIN, "run", "test.trouble.fail", ""}), "Count=\n");
}

} // namespace
} // namespace talvora::host

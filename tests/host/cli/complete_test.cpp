// What the shell is offered for the last word.
#include "host/hdf5/hdf5_tree.h"
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

TEST_F(Completion, OffersMapsThatComeWithTheProgram) {
    EXPECT_EQ(complete({"import", "in.h5", "--map", ""}), "mat\nnwb\n");
    EXPECT_EQ(complete({"import", "in.h5", "--map", "my"}), "");
    EXPECT_EQ(complete({"import", "in.h5", "--grid", ""}), "");
}

TEST_F(Completion, OffersTheParametersOfAUnitThatTheHostDoesNotKnow) {
    EXPECT_EQ(complete({"run", "test.trouble.fail", ""},
                       {.environment = {{"TALVORA_PLUGIN_PATH", TROUBLE_PLUGIN}}}),
              "Count=\n");
}

TEST_F(Completion, OffersWhatTheFileOnTheLineHolds) {
    import_walk();
    EXPECT_EQ(complete({"run", "apply-set-rectify", "walk.h5", "SourceGroup="}),
              "SourceGroup=Signals\n");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "walk.h5", "SourceSets=Signals/"}),
              "SourceSets=Signals/X\nSourceSets=Signals/Y\n");
    EXPECT_EQ(complete({"run", "average-set", "walk.h5", "DestinationGroup="}), "");
    const auto behind = run({"complete", "--after=walk.h5", "--after=-o", "--", "run",
                             "apply-set-rectify", "SourceGroup=S"});
    EXPECT_EQ(behind.output, "SourceGroup=Signals\n");
}

TEST_F(Completion, OffersPlacesInAFile) {
    import_walk();
    EXPECT_EQ(complete({"tree", "walk.h5::Signals/"}), "walk.h5::Signals/X\nwalk.h5::Signals/Y\n");
    EXPECT_EQ(complete({"plot", "walk.h5::"}),
              "walk.h5::Signals\nwalk.h5::Signals/X\nwalk.h5::Signals/Y\n");
    EXPECT_EQ(complete({"import", "walk.h5::Signals/X"}), "walk.h5::Signals/X\n");
    EXPECT_EQ(complete({"tree", "missing.h5::"}), "");
    EXPECT_EQ(complete({"history", "walk.h5::"}), "");
}

TEST_F(Completion, OffersAttributesBehindTheFile) {
    import_walk();
    EXPECT_EQ(complete({"attributes", "walk.h5::Signals/"}),
              "walk.h5::Signals/X\nwalk.h5::Signals/Y\n");
    EXPECT_EQ(complete({"attributes", "walk.h5::Signals/X", "S"}), "SampleRate=\nStartTime=\n");
}

TEST_F(Completion, OffersNothingOfAFileThatCannotBeRead) {
    write_file(folder_ / "broken.h5", "no HDF5");
    EXPECT_EQ(complete({"run", "apply-set-rectify", "broken.h5", "SourceGroup="}), "");
    EXPECT_EQ(complete({"tree", "broken.h5::"}), "");
}

// What is offered stands on the command line as it is.
TEST_F(Completion, OffersNoNameThatTheShellWouldReadOtherwise) {
    Hdf5Tree tree(folder_ / "odd.h5", Hdf5Access::Create);
    for (const char* name : {"a b", "$(id)", "c;d", "e'f", "g\nh", "Größe"}) {
        tree.create_group(tree.root(), name);
    }
    tree.close();
    EXPECT_EQ(complete({"tree", "odd.h5::"}), "odd.h5::Größe\n");
}

TEST_F(Completion, OffersCommandsToHelpWith) {
    EXPECT_EQ(complete({"help", "des"}), "describe\ndesign\n");
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

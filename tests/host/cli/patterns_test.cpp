#include "tests/host/cli/cli_test.h"

#include <map>
#include <string>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

using Patterns = CommandLine;

TEST_F(Patterns, NameTheSetsThatAUnitWorksOn) {
    import_walk();
    const auto result =
        run({"run", "apply-set-rectify", "SourceSets=**/[XZ]", "walk.h5", "-o", "up.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    run({"run", "apply-set-rectify", "SourceSets=Signals/X", "walk.h5", "-o", "same.h5"});
    EXPECT_EQ(run({"export", "up.h5", "-o", "-"}).output,
              run({"export", "same.h5", "-o", "-"}).output);
    EXPECT_EQ(run({"export", "up.h5::*/X", "-o", "-"}).output,
              "Time (s),X\n0,1\n0.1,2\n0.2,\n0.3,4\n0.4,5\n");
}

TEST_F(Patterns, NameTheGroupThatAUnitWorksOn) {
    import_walk();
    const auto result =
        run({"run", "apply-set-rectify", "SourceGroup=Sig*", "walk.h5", "-o", "up.h5"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(run({"export", "up.h5::*/X", "-o", "-"}).output, HasSubstr("\n0.4,5\n"));
}

TEST_F(Patterns, FailBeforeTheUnitRunsWhenNothingMatches) {
    import_walk();
    const auto result =
        run({"run", "apply-set-rectify", "SourceSets=Signal/*", "walk.h5", "-o", "up.h5"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors,
                HasSubstr("error: walk.h5: SourceSets=Signal/*: no data set matches\n"
                          "hint: nearest: Signals    list them: talvora-host tree walk.h5\n"));
    EXPECT_FALSE(fs::exists(folder_ / "up.h5"));
}

// No object of a file can be called so.
TEST_F(Patterns, ANameThatNothingCanHaveIsNotThere) {
    import_walk();
    const std::map<std::string, std::string> hints = {{".", ""},
                                                      {"..", ""},
                                                      {"./Signals", "nearest: Signals    "},
                                                      {"Signals/.", "nearest: Signals    "}};
    for (const auto& [source, hint] : hints) {
        const auto result =
            run({"run", "apply-set-rectify", "SourceGroup=" + source, "walk.h5", "-o", "up.h5"});
        EXPECT_EQ(result.exit_code, 3);
        EXPECT_EQ(result.errors, "error: walk.h5: apply-set-rectify: Invalid source group '" +
                                     source + "' to find data set(s)\nhint: " + hint +
                                     "list them: talvora-host tree walk.h5\n");
    }
}

TEST_F(Patterns, AreLookedForInEachFileByItself) {
    import_walk("a.h5");
    write_file(folder_ / "b.csv", "Z\n-1\n-2\n");
    run({"import", "b.csv", "-o", "b.h5", "--rate", "10"});
    const auto result =
        run({"run", "apply-set-rectify", "SourceSets=Signals/*", "a.h5", "b.h5", "--in-place"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(run({"export", "b.h5", "-o", "-"}).output, "Time (s),Z\n0,1\n0.1,2\n");
}

// As programs without a shell give them, or quotes.
TEST_F(Patterns, NameFilesInEveryCommandOfSeveral) {
    import_walk("a.h5");
    import_walk("b.h5");
    import_walk(".hidden.h5");
    const auto made =
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "?.h5", "--out-dir", "up"});
    EXPECT_EQ(made.exit_code, 0) << made.errors;
    EXPECT_THAT(made.output, testing::AllOf(HasSubstr("up/a.h5"), HasSubstr("up/b.h5")));
    EXPECT_FALSE(fs::exists(folder_ / "up" / ".hidden.h5"));
    write_file(folder_ / "r.yaml", "steps:\n  - unit: apply-set-rectify\n"
                                   "    parameters: {SourceGroup: Other}\n");
    write_file(folder_ / "list.txt", "a.h5\nb.h5\n");
    for (const Program::Words& files : {Program::Words{"*.h5"}, {"--files-from", "list.txt"}}) {
        Program::Words words = {"recipe", "check", "r.yaml"};
        words.insert(words.end(), files.begin(), files.end());
        const auto checked = run(words);
        EXPECT_EQ(checked.exit_code, 3);
        EXPECT_THAT(checked.errors,
                    testing::AllOf(HasSubstr("error: a.h5: step"), HasSubstr("error: b.h5: step")));
    }
    const auto none =
        run({"run", "apply-set-rectify", "SourceGroup=Signals", "c*", "--out-dir", "up"});
    EXPECT_EQ(none.exit_code, 3);
    EXPECT_THAT(none.errors, HasSubstr("error: no file matches 'c*'\n"));
}

} // namespace
} // namespace talvora::host

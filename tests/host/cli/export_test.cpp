#include "tests/host/cli/cli_test.h"

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

using Export = CommandLine;

TEST_F(Export, WritesATableAndTellsTheWayBack) {
    import_walk();
    const auto result = run({"export", "walk.h5", "-o", "back.csv"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(read_file(folder_ / "back.csv"),
              "Time (s),X,Y\n0,-1,1\n0.1,2,1\n0.2,,\n0.3,-4,1\n0.4,-5,1\n");
    EXPECT_EQ(result.output, "back.csv: 5 rows of 3 columns\n");
    EXPECT_EQ(result.errors, "info: back: talvora-host import back.csv -o FILE.h5 --group Signals "
                             "--set 'X=X' --set 'Y=Y'\n");
}

TEST_F(Export, ComesBackAsTheSameFile) {
    import_walk();
    run({"export", "walk.h5", "-o", "back.csv"});
    const auto back = run({"import", "back.csv", "-o", "back.h5", "--group", "Signals", "--set",
                           "X=X", "--set", "Y=Y"});
    EXPECT_EQ(back.exit_code, 0) << back.errors;
    EXPECT_EQ(read_file(folder_ / "back.h5"), read_file(folder_ / "walk.h5"));
}

TEST_F(Export, WritesToStandardOutputAlone) {
    import_walk();
    const auto result = run({"export", "walk.h5::*/Y", "-o", "-"});
    EXPECT_EQ(result.output, "Time (s),Y\n0,1\n0.1,1\n0.2,\n0.3,1\n0.4,1\n");
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(Export, KeepsAnExistingFileUnlessForced) {
    import_walk();
    write_file(folder_ / "back.csv", "mine");
    EXPECT_EQ(run({"export", "walk.h5", "-o", "back.csv"}).exit_code, 5);
    EXPECT_EQ(read_file(folder_ / "back.csv"), "mine");
    EXPECT_EQ(run({"export", "walk.h5", "-o", "back.csv", "--force"}).exit_code, 0);
    EXPECT_EQ(run({"export", "walk.h5", "-o", "walk.h5", "--force"}).exit_code, 2);
}

TEST_F(Export, LeavesNothingBehindWhenSetsShareNoTimes) {
    import_walk();
    write_file(folder_ / "slow.csv", "Z\n1\n2\n");
    run({"import", "slow.csv", "-o", "walk.h5", "--append", "--group", "Slow", "--rate", "1"});
    const auto result = run({"export", "walk.h5", "-o", "back.csv"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, HasSubstr("share no column of times"));
    EXPECT_FALSE(fs::exists(folder_ / "back.csv"));
    EXPECT_EQ(run({"export", "walk.h5::Slow", "-o", "back.csv"}).exit_code, 0);
}

TEST_F(Export, NamesTheNearestWhenNothingMatches) {
    import_walk();
    const auto result = run({"export", "walk.h5::Signals/Xx*", "-o", "back.csv"});
    EXPECT_EQ(result.exit_code, 3);
    EXPECT_THAT(result.errors, HasSubstr("error: walk.h5: nothing matches 'Signals/Xx*'\n"));
    EXPECT_THAT(result.errors,
                HasSubstr("in '/Signals': X, Y    list them: talvora-host tree walk.h5"));
}

TEST_F(Export, NeedsAFolderToWriteTo) {
    import_walk();
    EXPECT_EQ(run({"export", "walk.h5", "-o", "no/such/back.csv"}).exit_code, 5);
}

} // namespace
} // namespace talvora::host

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
    // But for the record of what it was imported from.
    EXPECT_EQ(run({"tree", "back.h5", "--attributes", "--statistics"}).output,
              run({"tree", "walk.h5", "--attributes", "--statistics"}).output);
    run({"export", "back.h5", "-o", "again.csv"});
    EXPECT_EQ(read_file(folder_ / "again.csv"), read_file(folder_ / "back.csv"));
}

TEST_F(Export, KeepsNamesAndUnitsThroughEveryUnitAndBack) {
    write_file(folder_ / "imu.csv",
               "t,Gyro X (deg/s),Gyro Y (deg/s)\n0,1,2\n1,-3,4\n2,-5,6\n3,7,8\n");
    run({"import", "imu.csv", "-o", "imu.h5", "--set", "Rate=Gyro X (deg/s),Gyro Y (deg/s)"});
    run({"run", "apply-set-rectify", "SourceGroup=Signals", "imu.h5", "-o", "up.h5"});
    EXPECT_EQ(run({"export", "up.h5", "-o", "-"}).output,
              "Time (s),Rate.X (deg/s),Rate.Y (deg/s)\n0,1,2\n1,3,4\n2,5,6\n3,7,8\n");
    run({"run", "average-set", "SourceGroup=Signals", "DestinationGroup=Mean", "up.h5", "-o",
         "mean.h5"});
    EXPECT_EQ(run({"export", "mean.h5::Mean", "-o", "-"}).output,
              "Sample,Rate.X (deg/s),Rate.Y (deg/s)\n0,4,5\n");
    // Over the components: their labels fit no more.
    run({"run", "average-set", "SourceGroup=Signals", "DestinationGroup=Mean", "Axis=0", "up.h5",
         "-o", "one.h5"});
    EXPECT_EQ(run({"export", "one.h5::Mean", "-o", "-"}).output,
              "Sample,Rate (deg/s)\n0,1.5\n1,3.5\n2,5.5\n3,7.5\n");
    run({"run", "average-set-2", "SourceGroup=Signals", "DestinationSet=Means", "up.h5", "-o",
         "means.h5"});
    EXPECT_EQ(run({"export", "means.h5::Means", "-o", "-"}).output,
              "Sample,Means.Rate[0],Means.Rate[1]\n0,4,5\n");
    run({"export", "up.h5", "-o", "back.csv"});
    const auto back =
        run({"import", "back.csv", "-o", "back.h5", "--set", "Rate=Rate.X (deg/s),Rate.Y (deg/s)"});
    EXPECT_EQ(back.exit_code, 0) << back.errors;
    EXPECT_THAT(run({"tree", "back.h5", "--attributes"}).output,
                HasSubstr("    Labels = [\"X\", \"Y\"]\n"));
    run({"export", "back.h5", "-o", "again.csv"});
    EXPECT_EQ(read_file(folder_ / "again.csv"), read_file(folder_ / "back.csv"));
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

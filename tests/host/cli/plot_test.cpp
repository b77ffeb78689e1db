#include "tests/host/cli/cli_test.h"

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using PlotCommands = CommandLine;

TEST_F(PlotCommands, WritesAPageOfTheChosenSets) {
    import_walk();
    const auto result = run({"plot", "walk.h5::*/X", "-o", "plot.html"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "plot.html: 1 data set\n");
    const std::string page = read_file(folder_ / "plot.html");
    EXPECT_THAT(page, StartsWith("<!doctype html>"));
    EXPECT_THAT(page, HasSubstr("\"title\":\"Signals/X\""));
    EXPECT_THAT(page, Not(HasSubstr("\"title\":\"Signals/Y\"")));
}

TEST_F(PlotCommands, WritesAPictureWithOneFileOverTheOther) {
    import_walk();
    run({"run", "apply-set-rectify", "SourceSets=Signals/X", "walk.h5", "-o", "up.h5"});
    const auto result = run({"plot", "walk.h5", "--with", "up.h5", "-o", "plot.svg"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    const std::string picture = read_file(folder_ / "plot.svg");
    EXPECT_THAT(picture, StartsWith("<svg "));
    EXPECT_THAT(picture, HasSubstr(">walk.h5 and up.h5</text>"));
    EXPECT_THAT(picture, HasSubstr(">Signals/Y</text>"));
}

TEST_F(PlotCommands, WarnsOfASetThatTheOtherFileLacks) {
    import_walk();
    write_file(folder_ / "x.csv", "X\n1\n2\n");
    run({"import", "x.csv", "-o", "other.h5", "--rate", "10"});
    const auto result = run({"plot", "walk.h5", "--with", "other.h5", "-o", "plot.html"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "warning: other.h5: no data set 'Signals/Y'\n");
}

TEST_F(PlotCommands, WarnsOfASetThatHasNoneOfTheChosenLines) {
    import_walk();
    const auto result = run({"plot", "walk.h5::*/X", "--line", "3", "-o", "plot.html"});
    EXPECT_EQ(result.errors, "warning: walk.h5: 'Signals/X' has none of the chosen lines\n");
}

TEST_F(PlotCommands, RefusesWhatItCannotWrite) {
    import_walk();
    const auto other_kind = run({"plot", "walk.h5", "-o", "plot.png"});
    EXPECT_EQ(other_kind.exit_code, 2);
    EXPECT_THAT(other_kind.errors, StartsWith("error: -o plot.png: neither .html nor .svg\n"));
    write_file(folder_ / "plot.html", "mine");
    EXPECT_EQ(run({"plot", "walk.h5", "-o", "plot.html"}).exit_code, 5);
    EXPECT_EQ(read_file(folder_ / "plot.html"), "mine");
    EXPECT_EQ(run({"plot", "walk.h5", "-o", "plot.html", "--force"}).exit_code, 0);
}

TEST_F(PlotCommands, ReplacesNeitherOfItsFiles) {
    import_walk();
    fs::copy_file(folder_ / "walk.h5", folder_ / "other.svg");
    const std::string before = read_file(folder_ / "other.svg");
    const auto result =
        run({"plot", "walk.h5", "--with", "other.svg", "-o", "other.svg", "--force"});
    EXPECT_EQ(result.exit_code, 2) << result.errors;
    EXPECT_TRUE(read_file(folder_ / "other.svg") == before);
}

TEST_F(PlotCommands, RefusesAnEmptySpanAndAFileThatIsNotThere) {
    import_walk();
    EXPECT_EQ(run({"plot", "walk.h5", "--from", "2", "--to", "2", "-o", "p.svg"}).exit_code, 2);
    EXPECT_EQ(run({"plot", "walk.h5", "--from", "nan", "-o", "p.svg"}).exit_code, 2);
    EXPECT_EQ(run({"plot", "none.h5", "-o", "p.svg"}).exit_code, 3);
    EXPECT_EQ(run({"plot", "walk.h5", "--with", "none.h5", "-o", "p.svg"}).exit_code, 3);
    EXPECT_EQ(run({"plot", "walk.h5::Z", "-o", "p.svg"}).exit_code, 3);
    EXPECT_FALSE(fs::exists(folder_ / "p.svg"));
}

} // namespace
} // namespace talvora::host

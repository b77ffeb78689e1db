#include "host/hdf5/hdf5_tree.h"
#include "tests/host/cli/cli_test.h"

#include <cstdint>
#include <set>
#include <string>

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

class PlotOfLines : public PlotCommands {
  protected:
    // At 10 Hz, from 0 to 0.4 s.
    void add_set(const std::string& path, std::uint64_t line_count) const {
        Hdf5Tree tree(folder_ / "walk.h5", Hdf5Access::ReadWrite);
        const ObjectId set = tree.create_dataset(tree.root(), path, {line_count, 1, 5});
        tree.write_attribute(set, "SampleRate", 10.0);
        tree.close();
    }

    ProgramResult plot(Program::Words words) const {
        words.insert(words.begin(), {"plot", "walk.h5", "-o", "plot.svg", "--force"});
        return run(words);
    }

    void expect_refused(const Program::Words& words, const std::string& text) const {
        const auto result = plot(words);
        EXPECT_EQ(result.exit_code, 3);
        EXPECT_THAT(result.errors, StartsWith("error: walk.h5: " + text));
        EXPECT_FALSE(fs::exists(folder_ / "plot.svg"));
    }
};

TEST_F(PlotOfLines, WarnsOfASetThatHasNoneOfTheChosenLines) {
    import_walk();
    add_set("Signals/Z", 4);
    EXPECT_EQ(plot({"--line", "3"}).errors,
              "warning: walk.h5: 'Signals/X' has none of the chosen lines\n"
              "warning: walk.h5: 'Signals/Y' has none of the chosen lines\n");
}

TEST_F(PlotOfLines, RefusesLinesThatNoSetHas) {
    import_walk();
    expect_refused({"--line", "3"}, "no line 3 (there is line 0 alone)\n");
    add_set("Signals/Z", 4);
    expect_refused({"--line", "1", "--line", "4"}, "no line 4 (there are 0 to 3)\n");
}

TEST_F(PlotOfLines, RefusesASpanInWhichNothingIs) {
    import_walk();
    expect_refused({"--from", "3"}, "nothing is there from 3 (there is 0 to 0.4 s)\n");
    expect_refused({"--from", "-2", "--to", "-1"},
                   "nothing is there from -2 to -1 (there is 0 to 0.4 s)\n");
    EXPECT_EQ(plot({"--from", "-1", "--to", "0.2"}).exit_code, 0);
}

TEST_F(PlotOfLines, RefusesMoreLinesThanThereIsRoomForBeforeItReadsThem) {
    import_walk();
    add_set("Signals/Z", 6000);
    expect_refused({}, "6002 lines in 3 data sets, a picture has room for 1000\n"
                       "hint: choose some of them: --line N, or fewer sets\n");
    EXPECT_EQ(plot({"--line", "5999"}).exit_code, 0);
}

TEST_F(PlotOfLines, StacksLinesEachInAColourOfItsOwn) {
    import_walk();
    add_set("Signals/Z", 32);
    const auto result = run({"plot", "walk.h5::Signals/Z", "--stack", "-o", "plot.svg"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(result.output, "plot.svg: 32 lines\n");
    const std::string picture = read_file(folder_ / "plot.svg");
    std::set<std::string> colours;
    for (std::size_t at = 0; (at = picture.find("stroke=\"#", at)) != std::string::npos; ++at) {
        colours.insert(picture.substr(at + 8, 7));
    }
    EXPECT_GE(colours.size(), 32U);
    EXPECT_THAT(picture, HasSubstr(">Signals/Z[31]</text>"));
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
    const auto chosen = run({"plot", "walk.h5", "--with", "other.h5::Imu/*", "-o", "p.svg"});
    EXPECT_EQ(chosen.exit_code, 2);
    EXPECT_EQ(chosen.errors, "error: --with other.h5::Imu/*: '::Imu/*' chooses nothing there "
                             "(allowed: other.h5 alone, of which the sets of the same names are "
                             "drawn)\n");
    EXPECT_EQ(run({"plot", "walk.h5::Z", "-o", "p.svg"}).exit_code, 3);
    EXPECT_FALSE(fs::exists(folder_ / "p.svg"));
}

} // namespace
} // namespace talvora::host

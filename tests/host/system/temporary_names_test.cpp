#include "host/system/temporary_names.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <array>

namespace talvora::host {
namespace {

std::string own_machine() {
    std::array<char, 64> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

// Of a process that is gone, and has been waited for.
pid_t dead_process() {
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    return child;
}

TEST(TemporaryNames, TellWhoseTheyAre) {
    EXPECT_EQ(make_temporary_name("walk.h5", "abcdef"),
              ".walk.h5." + own_machine() + "." + std::to_string(getpid()) + ".abcdef.talvora-tmp");
}

TEST(TemporaryNames, FitAFileSystemHoweverLongTheStemIs) {
    EXPECT_LE(make_temporary_name(std::string(255, 'x'), "abcdef").size(), 255U);
}

TEST(SweepDeadFiles, RemovesWhatADeadProcessOfThisMachineLeft) {
    const TemporaryFolder folder;
    const std::string dead = std::to_string(dead_process());
    const std::string machine = own_machine();
    const std::string living = make_temporary_name("b", "abcdef");
    write_file(folder / (".a." + machine + "." + dead + ".abcdef.talvora-tmp"), "");
    write_file(folder / living, "");
    write_file(folder / (".c.x" + machine + "." + dead + ".abcdef.talvora-tmp"), "");
    write_file(folder / (".d." + machine + "." + dead + ".abcdef"), "");
    write_file(folder / (".e." + machine + "." + dead + "x.abcdef.talvora-tmp"), "");
    write_file(folder / (".f." + machine + ".-1.abcdef.talvora-tmp"), "");
    write_file(folder / (".g." + machine + "..abcdef.talvora-tmp"), "");
    sweep_dead_files(folder.path());
    EXPECT_FALSE(folder.names().contains(".a." + machine + "." + dead + ".abcdef.talvora-tmp"));
    EXPECT_EQ(folder.names().size(), 6U);
}

TEST(SweepDeadFiles, LetsAMissingFolderBe) {
    const TemporaryFolder folder;
    sweep_dead_files(folder / "missing");
    EXPECT_TRUE(folder.names().empty());
}

} // namespace
} // namespace talvora::host

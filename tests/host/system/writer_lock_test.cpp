#include "host/system/safe_write.h"
#include "host/system/writer_lock.h"
#include "host/text/failure.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <string>
#include <unistd.h>

namespace talvora::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// Another process that is writing to a file, until it is killed.
class OtherWriter {
  public:
    explicit OtherWriter(const std::filesystem::path& destination) {
        std::array<int, 2> ready{};
        if (pipe(ready.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
        process_ = fork();
        if (process_ == 0) {
            const PendingFile pending(destination, {.replace = true});
            close(ready[0]);
            close(ready[1]);
            for (;;) {
                pause();
            }
        }
        close(ready[1]);
        char none = 0;
        EXPECT_EQ(read(ready[0], &none, 1), 0);
        close(ready[0]);
    }
    OtherWriter(const OtherWriter&) = delete;
    OtherWriter& operator=(const OtherWriter&) = delete;
    ~OtherWriter() { die(); }

    // Nothing is cleaned up by it.
    void die() {
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
            process_ = 0;
        }
    }

  private:
    pid_t process_ = 0;
};

std::string message_of_writing(const std::filesystem::path& destination) {
    try {
        const PendingFile pending(destination, {.replace = true});
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Output);
        return failure.what();
    }
    return "";
}

TEST(WriterLock, KeepsASecondWriterOut) {
    const TemporaryFolder folder;
    const OtherWriter first(folder / "walk.h5");
    EXPECT_EQ(message_of_writing(folder / "walk.h5"),
              (folder / "walk.h5").string() + ": another run is writing to it");
    EXPECT_EQ(message_of_writing(folder / "other.h5"), "");
}

TEST(WriterLock, IsTheSameByAnyPath) {
    const TemporaryFolder folder;
    const TemporaryFolder links;
    write_file(folder / "walk.h5", "");
    std::filesystem::create_symlink(folder / "walk.h5", links / "link.h5");
    std::filesystem::create_symlink(folder.path(), links / "folder");
    const OtherWriter first(folder / "walk.h5");
    EXPECT_NE(message_of_writing(links / "link.h5"), "");
    EXPECT_NE(message_of_writing(links / "folder/walk.h5"), "");
}

TEST(WriterLock, ToldApartForLongNamesThatBeginAlike) {
    const TemporaryFolder folder;
    const std::string begin(250, 'x');
    const OtherWriter first(folder / (begin + "1.h5"));
    EXPECT_EQ(message_of_writing(folder / (begin + "2.h5")), "");
    EXPECT_NE(message_of_writing(folder / (begin + "1.h5")), "");
}

TEST(WriterLock, GoesWithItsFile) {
    const TemporaryFolder folder;
    {
        const WriterLock lock(folder / "walk.h5");
        EXPECT_TRUE(lock.is_held());
        EXPECT_THAT(folder.names(), ElementsAre(".walk.h5.talvora-lock"));
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

TEST(WriterLock, IsTakenOverFromTheDead) {
    const TemporaryFolder folder;
    OtherWriter first(folder / "walk.h5");
    first.die();
    EXPECT_THAT(folder.names(), Contains(".walk.h5.talvora-lock"));
    EXPECT_EQ(message_of_writing(folder / "walk.h5"), "");
}

TEST(SweepDeadFilesIn, RemovesWhatTheDeadLeftAndNothingElse) {
    const TemporaryFolder folder;
    OtherWriter dead(folder / "dead.h5");
    const OtherWriter living(folder / "living.h5");
    ASSERT_THAT(folder.names(), SizeIs(4));
    dead.die();
    for (const char* name : {"walk.h5", ".walk.talvora-tmp", ".walk.h5.abcdef.talvora-tmpx",
                             "walk.h5.abcdef.talvora-tmp"}) {
        write_file(folder / name, "");
    }
    std::filesystem::create_directory(folder / ".walk.h5.abcdef.talvora-tmp");
    sweep_dead_files_in(folder.path());
    EXPECT_THAT(folder.names(), SizeIs(2 + 5));
    EXPECT_THAT(folder.names(), Contains(".living.h5.talvora-lock"));
    EXPECT_NE(message_of_writing(folder / "living.h5"), "");
}

// None of these can be what a run made.
TEST(SweepDeadFilesIn, LeavesWhatARunCannotHaveMade) {
    const TemporaryFolder folder;
    const TemporaryFolder elsewhere;
    write_file(elsewhere / "kept", "kept");
    write_file(folder / ".a.h5.ab-def.talvora-tmp", ""); // a character that no random name has
    write_file(folder / ".b.h5..abcde.talvora-tmp", "");
    write_file(folder / ".c.h5xabcdef.talvora-tmp", ""); // no dot before the random letters
    write_file(folder / ".d.h5.abcdef.talvora-tmp", "two names");
    std::filesystem::create_hard_link(folder / ".d.h5.abcdef.talvora-tmp", folder / "d.h5");
    std::filesystem::create_symlink(elsewhere / "kept", folder / ".e.h5.abcdef.talvora-tmp");
    write_file(folder / ".f.h5.talvora-lock", "notes"); // locks are empty
    const auto before = folder.names();
    sweep_dead_files_in(folder.path());
    EXPECT_EQ(folder.names(), before);
    EXPECT_EQ(read_file(folder / ".f.h5.talvora-lock"), "notes");
    EXPECT_EQ(read_file(elsewhere / "kept"), "kept");
}

TEST(SweepDeadFilesIn, LeavesWhatIsAnothersPossession) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root gives files to others";
    }
    const TemporaryFolder folder;
    for (const char* name : {".a.h5.abcdef.talvora-tmp", ".b.h5.talvora-lock"}) {
        write_file(folder / name, "");
        ASSERT_EQ(chown((folder / name).c_str(), 65534, 65534), 0);
    }
    sweep_dead_files_in(folder.path());
    EXPECT_THAT(folder.names(), ElementsAre(".a.h5.abcdef.talvora-tmp", ".b.h5.talvora-lock"));
}

TEST(WriterLock, LeavesAFileOfItsNameThatIsNoLock) {
    const TemporaryFolder folder;
    write_file(folder / ".walk.h5.talvora-lock", "notes");
    EXPECT_EQ(message_of_writing(folder / "walk.h5"), "");
    EXPECT_EQ(read_file(folder / ".walk.h5.talvora-lock"), "notes");
}

// Many start at once in one folder, each sweeping it: none takes a sweeper for a writer.
TEST(SweepDeadFilesIn, KeepsNobodyFromWriting) {
    const TemporaryFolder folder;
    std::array<pid_t, 4> processes{};
    for (std::size_t i = 0; i < processes.size(); ++i) {
        processes[i] = fork();
        if (processes[i] == 0) {
            int failure_count = 0;
            for (int round = 0; round < 100; ++round) {
                const auto file = folder / (std::to_string(i) + ".h5");
                failure_count += message_of_writing(file).empty() ? 0 : 1;
            }
            _exit(failure_count);
        }
    }
    for (const pid_t process : processes) {
        int status = 0;
        waitpid(process, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_THAT(folder.names(), IsEmpty());
}

} // namespace
} // namespace talvora::host

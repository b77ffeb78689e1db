#include "host/system/pending_cleanup.h"
#include "host/system/safe_write.h"
#include "host/text/failure.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

ExitCode code_of(const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        return failure.code();
    }
    return ExitCode::Done;
}

mode_t permissions_of(const fs::path& file) {
    struct stat status {};
    stat(file.c_str(), &status);
    return status.st_mode & 07777;
}

TEST(PendingFile, TakesTheDestinationsPlaceWhenPublished) {
    const TemporaryFolder folder;
    PendingFile pending(folder / "walk.h5", {});
    write_file(pending.path(), "new");
    EXPECT_FALSE(fs::exists(folder / "walk.h5"));
    pending.publish();
    EXPECT_EQ(read_file(folder / "walk.h5"), "new");
    EXPECT_THAT(folder.names(), ElementsAre("walk.h5"));
}

TEST(PendingFile, LeavesTheDestinationAloneUnlessPublished) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    {
        const PendingFile pending(folder / "walk.h5", {.replace = true});
        write_file(pending.path(), "new");
    }
    EXPECT_EQ(read_file(folder / "walk.h5"), "old");
    EXPECT_THAT(folder.names(), ElementsAre("walk.h5"));
}

TEST(PendingFile, RefusesAnExistingDestinationUnlessItIsToBeReplaced) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    EXPECT_EQ(code_of([&] { PendingFile(folder / "walk.h5", {}); }), ExitCode::Output);
    EXPECT_EQ(code_of([&] { PendingFile(folder / "walk.h5", {.replace = true}); }), ExitCode::Done);
}

// The next command in the folder would remove it.
TEST(PendingFile, RefusesNamesOfUnfinishedResults) {
    const TemporaryFolder folder;
    EXPECT_EQ(code_of([&] { const PendingFile pending(folder / ".a.h5.aB3dEf.talvora-tmp", {}); }),
              ExitCode::Output);
    EXPECT_THAT(folder.names(), IsEmpty());
    EXPECT_EQ(code_of([&] { const PendingFile pending(folder / ".a.h5.aB3.talvora-tmp", {}); }),
              ExitCode::Done);
}

TEST(PendingFile, LeavesADestinationThatCameUpMeanwhile) {
    const TemporaryFolder folder;
    EXPECT_EQ(code_of([&] {
                  PendingFile pending(folder / "walk.h5", {});
                  write_file(folder / "walk.h5", "another's");
                  pending.publish();
              }),
              ExitCode::Output);
    EXPECT_EQ(read_file(folder / "walk.h5"), "another's");
    EXPECT_THAT(folder.names(), ElementsAre("walk.h5"));
}

TEST(PendingFile, LeavesADestinationThatAnotherProgramChanged) {
    for (const char* change : {"written to", "replaced", "removed"}) {
        const TemporaryFolder folder;
        write_file(folder / "walk.h5", "old");
        PendingFile pending(folder / "walk.h5", {.replace = true});
        write_file(pending.path(), "new");
        if (change == std::string("written to")) {
            write_file(folder / "walk.h5", "another's");
        } else {
            fs::remove(folder / "walk.h5");
        }
        if (change == std::string("replaced")) {
            write_file(folder / "walk.h5", "new");
        }
        const std::string left = read_file(folder / "walk.h5");
        EXPECT_EQ(code_of([&] { pending.publish(); }), ExitCode::Output) << change;
        EXPECT_EQ(read_file(folder / "walk.h5"), left) << change;
    }
}

TEST(PendingFile, TakesBackWhatWasNotThereBefore) {
    const TemporaryFolder folder;
    write_file(folder / "old.h5", "old");
    PendingFile unpublished(folder / "other.h5", {});
    PendingFile replaced(folder / "old.h5", {.replace = true});
    PendingFile made(folder / "new.h5", {});
    replaced.publish();
    made.publish();
    for (PendingFile* pending : {&unpublished, &replaced, &made}) {
        pending->take_back();
    }
    EXPECT_TRUE(fs::exists(folder / "old.h5"));
    EXPECT_FALSE(fs::exists(folder / "new.h5"));
    EXPECT_TRUE(fs::exists(unpublished.path()));
}

TEST(PendingFile, IsOpenToItsOwnerAloneUntilPublished) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    fs::permissions(folder / "walk.h5", fs::perms{0666});
    const PendingFile pending(folder / "walk.h5", {.replace = true});
    EXPECT_EQ(permissions_of(pending.path()), 0600U);
    EXPECT_EQ(permissions_of(PendingFile().path()), 0600U);
}

TEST(PendingFile, TellsWhenPublishedThatABegunSyncFailed) {
    const TemporaryFolder folder;
    PendingFile synced(folder / "synced.h5", {});
    synced.begin_sync();
    EXPECT_THAT(synced.publish(), IsEmpty());
    PendingFile lost(folder / "lost.h5", {});
    fs::rename(lost.path(), folder / "away");
    lost.begin_sync();
    EXPECT_EQ(code_of([&] { lost.publish(); }), ExitCode::Output);
    EXPECT_FALSE(fs::exists(folder / "lost.h5"));
}

TEST(PendingFile, LeavesWhatAnotherPutInItsPlace) {
    const TemporaryFolder folder;
    write_file(folder / "private", "another's");
    fs::permissions(folder / "private", fs::perms{0600});
    fs::path name;
    {
        PendingFile pending(folder / "walk.h5", {});
        name = pending.path();
        fs::remove(name);
        fs::create_symlink(folder / "private", name);
        EXPECT_EQ(code_of([&] { name_to_open(name); }), ExitCode::Output);
        EXPECT_EQ(code_of([&] { pending.publish(); }), ExitCode::Output);
    }
    EXPECT_TRUE(fs::is_symlink(name));
    EXPECT_EQ(read_file(folder / "private"), "another's");
    EXPECT_EQ(permissions_of(folder / "private"), 0600U);
    EXPECT_FALSE(fs::exists(folder / "walk.h5"));
}

TEST(PendingFile, TellsThatOtherNamesKeepTheOldContent) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    EXPECT_THAT(PendingFile(folder / "walk.h5", {.replace = true}).publish(), IsEmpty());
    write_file(folder / "walk.h5", "old");
    fs::create_hard_link(folder / "walk.h5", folder / "twin.h5");
    EXPECT_THAT(PendingFile(folder / "walk.h5", {.replace = true}).publish(),
                ElementsAre((folder / "walk.h5").string() +
                            ": had 2 names (hard links); the others keep the old content"));
    EXPECT_EQ(read_file(folder / "twin.h5"), "old");
}

TEST(PendingFile, MakesTheFoldersAboveIt) {
    const TemporaryFolder folder;
    PendingFile(folder / "one/two/walk.h5", {.make_folder = true}).publish();
    EXPECT_TRUE(fs::exists(folder / "one/two/walk.h5"));
}

TEST(PendingFile, LeavesNothingOfATrial) {
    const TemporaryFolder folder;
    setenv("TMPDIR", folder.path().c_str(), 1);
    {
        const PendingFile trial;
        const PendingFile other_trial;
        sweep_beside(folder / "walk.h5");
        EXPECT_TRUE(fs::exists(trial.path()));
        EXPECT_TRUE(fs::exists(other_trial.path()));
        EXPECT_EQ(trial.path().parent_path(), folder.path());
    }
    EXPECT_THAT(folder.names(), IsEmpty());
    unsetenv("TMPDIR");
}

TEST(PendingFile, RefusesALinkToNothing) {
    const TemporaryFolder folder;
    fs::create_symlink("missing.h5", folder / "link.h5");
    EXPECT_EQ(code_of([&] { PendingFile(folder / "link.h5", {.replace = true}); }),
              ExitCode::Output);
    EXPECT_THAT(folder.names(), ElementsAre("link.h5"));
}

TEST(PendingFile, StaysShutToWhomItsSourcesAreShut) {
    const TemporaryFolder folder;
    const mode_t before = umask(022);
    write_file(folder / "open.csv", "");
    write_file(folder / "private.csv", "");
    fs::permissions(folder / "private.csv", fs::perms{0640});
    PendingFile(folder / "one.h5", {.sources = {folder / "open.csv"}}).publish();
    PendingFile(folder / "two.h5", {.sources = {folder / "private.csv", folder / "open.csv"}})
        .publish();
    umask(before);
    EXPECT_EQ(permissions_of(folder / "one.h5"), 0644U);
    EXPECT_EQ(permissions_of(folder / "two.h5"), 0640U);
}

TEST(PendingFile, KeepsTheModeOfWhatItReplaces) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    fs::permissions(folder / "walk.h5", fs::perms{0640});
    PendingFile(folder / "walk.h5", {.replace = true}).publish();
    EXPECT_EQ(permissions_of(folder / "walk.h5"), 0640U);
}

TEST(PendingFile, IsNoMoreOpenThanItsSourceWhereItReplacesAnOpenFile) {
    const TemporaryFolder folder;
    write_file(folder / "private.csv", "");
    write_file(folder / "walk.h5", "old");
    fs::permissions(folder / "private.csv", fs::perms{0600});
    fs::permissions(folder / "walk.h5", fs::perms{0644});
    const WriteOptions options{.replace = true, .sources = {folder / "private.csv"}};
    EXPECT_THAT(PendingFile(folder / "walk.h5", options).publish(),
                ElementsAre((folder / "walk.h5").string() +
                            ": not kept: rights of some to whom its input is shut"));
    EXPECT_EQ(permissions_of(folder / "walk.h5"), 0600U);
}

TEST(PendingFile, GivesANewFileTheModeOfTheProcess) {
    const TemporaryFolder folder;
    const mode_t before = umask(027);
    PendingFile(folder / "walk.h5", {}).publish();
    umask(before);
    EXPECT_EQ(permissions_of(folder / "walk.h5"), 0640U);
}

TEST(PendingFile, GivesANewFileTheModeOfTheOneItIsLike) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "");
    fs::permissions(folder / "walk.h5", fs::perms{0600});
    PendingFile(folder / "walk.h5.bak", {.like = folder / "walk.h5"}).publish();
    EXPECT_EQ(permissions_of(folder / "walk.h5.bak"), 0600U);
}

TEST(PendingFile, WritesToWhatASymbolicLinkPointsTo) {
    const TemporaryFolder folder;
    const TemporaryFolder link_folder;
    write_file(folder / "walk.h5", "old");
    fs::create_symlink(folder / "walk.h5", link_folder / "link.h5");
    PendingFile pending(link_folder / "link.h5", {.replace = true});
    write_file(pending.path(), "new");
    pending.publish();
    EXPECT_TRUE(fs::is_symlink(link_folder / "link.h5"));
    EXPECT_EQ(read_file(folder / "walk.h5"), "new");
}

TEST(PendingFile, RefusesFoldersAndMissingFoldersAsDestinations) {
    const TemporaryFolder folder;
    EXPECT_EQ(code_of([&] { PendingFile(folder.path(), {.replace = true}); }), ExitCode::Output);
    EXPECT_EQ(code_of([&] { PendingFile(folder / "missing/walk.h5", {}); }), ExitCode::Output);
    EXPECT_EQ(code_of([&] { PendingFile("/dev/null", {.replace = true}); }), ExitCode::Output);
}

// The code of making a pending file without privileges.
int code_as_nobody(const fs::path& destination) {
    return exit_code_of([&] {
        if (geteuid() == 0) {
            [[maybe_unused]] const int dropped = setresuid(65534, 65534, 65534);
        }
        _exit(static_cast<int>(code_of([&] { PendingFile(destination, {.replace = true}); })));
    });
}

TEST(PendingFile, RefusesAFolderThatCannotBeWritten) {
    const TemporaryFolder folder;
    fs::permissions(folder.path(), fs::perms{0555});
    EXPECT_EQ(code_as_nobody(folder / "walk.h5"), static_cast<int>(ExitCode::Output));
    fs::permissions(folder.path(), fs::perms{0777});
    EXPECT_EQ(code_as_nobody(folder / "walk.h5"), static_cast<int>(ExitCode::Done));
}

TEST(PendingFile, RefusesToReplaceAReadOnlyFile) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "old");
    fs::permissions(folder.path(), fs::perms{0777});
    fs::permissions(folder / "walk.h5", fs::perms{0444});
    EXPECT_EQ(code_as_nobody(folder / "walk.h5"), static_cast<int>(ExitCode::Output));
}

TEST(PendingFile, TakesNamesAsLongAsTheFileSystemDoes) {
    const TemporaryFolder folder;
    const std::string name(255, 'x');
    PendingFile(folder / name, {}).publish();
    EXPECT_TRUE(folder.names().contains(name));
    EXPECT_EQ(folder.names().size(), 1U);
}

TEST(RefuseSameFile, KnowsAFileByAnyOfItsPaths) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "");
    fs::create_symlink(folder / "walk.h5", folder / "link.h5");
    fs::create_hard_link(folder / "walk.h5", folder / "twin.h5");
    for (const char* name : {"walk.h5", "./walk.h5", "link.h5", "twin.h5"}) {
        EXPECT_EQ(code_of([&] { refuse_same_file(folder / "walk.h5", folder / name); }),
                  ExitCode::Usage)
            << name;
    }
    EXPECT_EQ(code_of([&] { refuse_same_file(folder / "walk.h5", folder / "new.h5"); }),
              ExitCode::Done);
}

// Links that lead round in a circle tell nothing of either.
TEST(RefuseSameFile, TakesWhatItCannotFindForAnother) {
    const TemporaryFolder folder;
    fs::create_symlink("two.h5", folder / "one.h5");
    fs::create_symlink("one.h5", folder / "two.h5");
    EXPECT_EQ(code_of([&] { refuse_same_file(folder / "one.h5", folder / "two.h5"); }),
              ExitCode::Done);
}

} // namespace
} // namespace talvora::host

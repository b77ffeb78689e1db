#include "host/system/file_rights.h"
#include "tests/host/system/child_process.h"
#include "tests/host/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct stat status_of(const fs::path& file) {
    struct stat status {};
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    return status;
}

mode_t mode_of(const fs::path& file) {
    return status_of(file).st_mode & 07777;
}

// What getfacl prints of the file.
std::string access_list_of(const fs::path& file) {
    const fs::path list = file.string() + ".acl";
    const std::string command = "getfacl -pcn '" + file.string() + "' > '" + list.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    return read_file(list);
}

// False where the file system has no access lists.
bool set_access_list(const std::string& words, const fs::path& file) {
    const std::string command = "setfacl " + words + " '" + file.string() + "' 2> /dev/null";
    return std::system(command.c_str()) == 0;
}

class FileRights : public testing::Test {
  protected:
    void SetUp() override {
        write_file(like_, "");
        write_file(file_, "");
        fs::permissions(file_, fs::perms{0600});
    }

    // The mode that a file made of `like_` gets where the process gives 0666 to new ones.
    mode_t mode_restricted() {
        const mode_t before = umask(0);
        restrict_rights(std::array{like_}, file_);
        umask(before);
        return mode_of(file_);
    }

    TemporaryFolder folder_;
    fs::path like_ = folder_ / "like";
    fs::path file_ = folder_ / "file";
};

TEST_F(FileRights, AreCopied) {
    for (const unsigned mode : {0600U, 0644U, 0640U, 0464U, 0777U}) {
        fs::permissions(like_, fs::perms{mode});
        EXPECT_THAT(copy_rights(like_, {}, file_), IsEmpty());
        EXPECT_EQ(mode_of(file_), mode);
    }
}

TEST_F(FileRights, AreCopiedWithTheOwner) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes root";
    }
    ASSERT_EQ(chown(like_.c_str(), 1234, 5678), 0);
    EXPECT_THAT(copy_rights(like_, {}, file_), IsEmpty());
    EXPECT_EQ(status_of(file_).st_uid, 1234U);
    EXPECT_EQ(status_of(file_).st_gid, 5678U);
}

TEST_F(FileRights, AreCopiedWithSetuidSetgidAndStickyBit) {
    for (const unsigned mode : {04755U, 02755U, 01644U, 07777U}) {
        ASSERT_EQ(chmod(like_.c_str(), mode), 0);
        EXPECT_THAT(copy_rights(like_, {}, file_), IsEmpty());
        EXPECT_EQ(mode_of(file_), mode);
        ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
        EXPECT_THAT(copy_rights(like_, std::array{like_}, file_), IsEmpty());
        EXPECT_EQ(mode_of(file_), mode);
    }
}

// What another file holds does not run as the owner of the replaced one.
TEST_F(FileRights, AreCopiedWithoutSetuidAndSetgidBitForOtherContent) {
    const fs::path source = folder_ / "source";
    write_file(source, "");
    ASSERT_EQ(chmod(like_.c_str(), 07755), 0);
    ASSERT_EQ(chmod(source.c_str(), 0755), 0);
    EXPECT_THAT(copy_rights(like_, std::array{source}, file_),
                ElementsAre("its setuid bit", "its setgid bit"));
    EXPECT_EQ(mode_of(file_), 01755U);
    fs::permissions(source, fs::perms{0644});
    EXPECT_THAT(copy_rights(like_, std::array{source}, file_),
                ElementsAre("rights of some to whom its input is shut", "its setuid bit",
                            "its setgid bit"));
    EXPECT_EQ(mode_of(file_), 01744U);
}

TEST_F(FileRights, AreCopiedWithTheAttributes) {
    if (setxattr(like_.c_str(), "user.note", "left foot", 9, 0) != 0) {
        GTEST_SKIP() << "no extended attributes here";
    }
    EXPECT_THAT(copy_rights(like_, {}, file_), IsEmpty());
    std::array<char, 16> value{};
    EXPECT_EQ(getxattr(file_.c_str(), "user.note", value.data(), value.size()), 9);
    EXPECT_STREQ(value.data(), "left foot");
}

TEST_F(FileRights, AreCopiedWithTheAccessList) {
    fs::permissions(like_, fs::perms{0640});
    if (!set_access_list("-m u:1234:r,g:5678:rw", like_)) {
        GTEST_SKIP() << "no access lists here";
    }
    EXPECT_THAT(copy_rights(like_, {}, file_), IsEmpty());
    EXPECT_EQ(access_list_of(file_), access_list_of(like_));
    EXPECT_THAT(access_list_of(file_), HasSubstr("user:1234:r--"));
}

// A group that cannot be kept is another one: it gets what everybody has, and everybody no more
// than the lost group had.
TEST_F(FileRights, AreNotWidenedToAnotherOwnerOrGroup) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes root";
    }
    const struct {
        unsigned mode;
        int expected;
        std::vector<std::string> lost_rights;
    } CASES[] = {{0660U, 0600, {"its group's right to read and write"}},
                 {0664U, 0644, {"its group's right to write"}},
                 {0604U, 0600, {"others' right to read"}},
                 {06775U, 0755, {"its group's right to write", "its setuid bit", "its setgid bit"}},
                 {0600U, 0600, {}}};
    fs::permissions(folder_.path(), fs::perms{0777});
    for (const auto& [mode, expected, lost_rights] : CASES) {
        std::vector<std::string> expected_losses = {"its owner", "its group"};
        std::ranges::copy(lost_rights, std::back_inserter(expected_losses));
        ASSERT_EQ(chown(like_.c_str(), 1234, 5678), 0);
        ASSERT_EQ(chmod(like_.c_str(), mode), 0);
        ASSERT_EQ(chown(file_.c_str(), 65534, 65534), 0);
        ASSERT_EQ(chmod(file_.c_str(), 0600), 0);
        EXPECT_EQ(exit_code_of([&] {
                      if (setresgid(65534, 65534, 65534) != 0 ||
                          setresuid(65534, 65534, 65534) != 0) {
                          _exit(99);
                      }
                      const auto lost = copy_rights(like_, {}, file_);
                      _exit(lost == expected_losses ? 0 : 1);
                  }),
                  0);
        EXPECT_EQ(mode_of(file_), static_cast<mode_t>(expected)) << std::oct << mode;
    }
}

// Neither of the two files opens the third to anybody to whom the other one is shut.
TEST_F(FileRights, AreCopiedLessWhatASourceWithholds) {
    const struct {
        unsigned like;
        unsigned source;
        unsigned expected;
    } CASES[] = {{0644U, 0600U, 0600U}, {0666U, 0640U, 0640U}, {0640U, 0644U, 0640U},
                 {0664U, 0646U, 0644U}, {0755U, 0600U, 0700U}, {0604U, 0640U, 0600U},
                 {0444U, 0600U, 0400U}, {0644U, 0644U, 0644U}};
    const fs::path source = folder_ / "source";
    write_file(source, "");
    for (const auto& [like, of_source, expected] : CASES) {
        fs::permissions(like_, fs::perms{like});
        fs::permissions(source, fs::perms{of_source});
        const auto lost = copy_rights(like_, std::array{source}, file_);
        EXPECT_EQ(mode_of(file_), expected) << std::oct << like << " and " << of_source;
        if (like == expected) {
            EXPECT_THAT(lost, IsEmpty());
        } else {
            EXPECT_THAT(lost, ElementsAre("rights of some to whom its input is shut"));
        }
    }
}

TEST_F(FileRights, AreCopiedLessWhatASourceOfAnotherGroupWithholds) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes root";
    }
    const fs::path source = folder_ / "source";
    write_file(source, "");
    ASSERT_EQ(chown(source.c_str(), 1234, 5678), 0);
    fs::permissions(like_, fs::perms{0664});
    fs::permissions(source, fs::perms{0660});
    copy_rights(like_, std::array{source}, file_);
    EXPECT_EQ(mode_of(file_), 0600U);
    fs::permissions(source, fs::perms{0664});
    copy_rights(like_, std::array{source}, file_);
    EXPECT_EQ(mode_of(file_), 0644U);
}

TEST_F(FileRights, LoseAnAccessListThatNamesSomeToWhomASourceIsShut) {
    const fs::path source = folder_ / "source";
    write_file(source, "");
    fs::permissions(like_, fs::perms{0640});
    if (!set_access_list("-m u:1234:r", like_)) {
        GTEST_SKIP() << "no access lists here";
    }
    fs::permissions(source, fs::perms{0640});
    EXPECT_THAT(copy_rights(like_, std::array{source}, file_),
                ElementsAre("rights of some to whom its input is shut"));
    EXPECT_THAT(access_list_of(file_), Not(HasSubstr("user:1234")));
    fs::permissions(source, fs::perms{0644});
    EXPECT_THAT(copy_rights(like_, std::array{source}, file_), IsEmpty());
    EXPECT_EQ(access_list_of(file_), access_list_of(like_));
}

TEST_F(FileRights, KeepAnAccessListThatASourceHasToo) {
    const fs::path source = folder_ / "source";
    write_file(source, "");
    for (const fs::path& file : {like_, source}) {
        fs::permissions(file, fs::perms{0600});
        if (!set_access_list("-m u:1234:r", file)) {
            GTEST_SKIP() << "no access lists here";
        }
    }
    EXPECT_THAT(copy_rights(like_, std::array{source}, file_), IsEmpty());
    EXPECT_EQ(access_list_of(file_), access_list_of(like_));
}

TEST_F(FileRights, AreThoseOfTheProcessLessWhatASourceWithholds) {
    const struct {
        unsigned source;
        unsigned expected;
    } CASES[] = {{0666U, 0666U}, {0644U, 0644U}, {0640U, 0640U},
                 {0600U, 0600U}, {0400U, 0600U}, {0604U, 0604U}};
    for (const auto& [source, expected] : CASES) {
        fs::permissions(like_, fs::perms{source});
        EXPECT_EQ(mode_restricted(), expected) << std::oct << source;
    }
}

TEST_F(FileRights, AreRestrictedByEverySource) {
    const TemporaryFolder folder;
    write_file(folder / "other", "");
    fs::permissions(like_, fs::perms{0640});
    fs::permissions(folder / "other", fs::perms{0604});
    restrict_rights(std::array{like_, folder / "other"}, file_);
    EXPECT_EQ(mode_of(file_), 0600U);
}

TEST_F(FileRights, AreRestrictedForAnotherGroupToWhatEverybodyHas) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes root";
    }
    ASSERT_EQ(chown(like_.c_str(), 1234, 5678), 0);
    ASSERT_EQ(chmod(like_.c_str(), 0664), 0);
    EXPECT_EQ(mode_restricted(), 0644U);
    ASSERT_EQ(chmod(like_.c_str(), 0604), 0);
    EXPECT_EQ(mode_restricted(), 0600U);
}

TEST_F(FileRights, AreRestrictedToWhatTheAccessListGivesTheGroup) {
    fs::permissions(like_, fs::perms{0600});
    if (!set_access_list("-m u:1234:rw", like_)) {
        GTEST_SKIP() << "no access lists here";
    }
    ASSERT_EQ(mode_of(like_), 0660U); // the group's place holds the mask
    EXPECT_EQ(mode_restricted(), 0600U);
}

TEST_F(FileRights, AreRestrictedByWhoTheAccessListShutsOut) {
    fs::permissions(like_, fs::perms{0644});
    if (!set_access_list("-m u:1234:-", like_)) {
        GTEST_SKIP() << "no access lists here";
    }
    EXPECT_EQ(mode_restricted(), 0600U);
}

TEST_F(FileRights, AreNotWidenedByTheFoldersDefaultList) {
    if (!set_access_list("-d -m u:1234:rw", folder_.path())) {
        GTEST_SKIP() << "no access lists here";
    }
    fs::remove(file_);
    write_file(file_, "");
    ASSERT_THAT(access_list_of(file_), HasSubstr("user:1234"));
    fs::permissions(like_, fs::perms{0640});
    ASSERT_TRUE(set_access_list("-b", like_));
    restrict_rights(std::array{like_}, file_);
    EXPECT_EQ(access_list_of(file_), access_list_of(like_));
    copy_rights(like_, {}, file_);
    EXPECT_EQ(access_list_of(file_), access_list_of(like_));
}

} // namespace
} // namespace talvora::host

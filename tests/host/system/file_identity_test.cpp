#include "host/system/file_identity.h"
#include "host/text/failure.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

TEST(FileIdentity, StaysWhileAFileIsOnlyRead) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "some");
    const auto before = identify_file(folder / "walk.h5");
    ASSERT_TRUE(before);
    EXPECT_EQ(before->byte_count, 4U);
    EXPECT_EQ(before->name_count, 1U);
    read_file(folder / "walk.h5");
    EXPECT_EQ(identify_file(folder / "walk.h5"), before);
}

TEST(FileIdentity, ChangesWithTheFile) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "some");
    write_file(folder / "twin.h5", "some");
    const auto before = identify_file(folder / "walk.h5");
    EXPECT_NE(identify_file(folder / "twin.h5"), before);
    write_file(folder / "walk.h5", "more of it");
    EXPECT_NE(identify_file(folder / "walk.h5"), before);
    fs::rename(folder / "twin.h5", folder / "walk.h5");
    EXPECT_NE(identify_file(folder / "walk.h5"), before);
}

TEST(FileIdentity, TellsAMissingFileFromOneThatCannotBeLookedAt) {
    const TemporaryFolder folder;
    write_file(folder / "walk.h5", "");
    EXPECT_FALSE(identify_file(folder / "missing.h5"));
    EXPECT_THROW(identify_file(folder / "walk.h5/inside.h5"), Failure);
}

} // namespace
} // namespace talvora::host

#include "host/system/content_hash.h"
#include "host/text/failure.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <span>
#include <string>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

// The examples of FIPS 180-2, appendix B.
TEST(ContentHash, GivesThePublishedDigests) {
    const TemporaryFolder folder;
    const struct {
        std::string content;
        const char* digest;
    } EXAMPLES[] = {{"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
                    {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
                     "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
                    {std::string(1'000'000, 'a'),
                     "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
    for (const auto& [content, digest] : EXAMPLES) {
        write_file(folder / "file", content);
        EXPECT_EQ(hash_file(folder / "file").sha256, digest) << content.size();
    }
}

// Each block of the reading is 256 KiB.
TEST(ContentHash, CountsTheBytes) {
    const TemporaryFolder folder;
    write_file(folder / "file", std::string(600'000, 'a'));
    EXPECT_EQ(hash_file(folder / "file").byte_count, 600'000U);
}

TEST(CopyContent, GivesTheMarkOfTheSameContent) {
    const TemporaryFolder folder;
    std::string content(600'000, 'a');
    for (const std::size_t changed : {std::size_t{0}, content.size() / 2, content.size() - 1}) {
        content[changed] = 'b';
        write_file(folder / "from", content);
        write_file(folder / "to", std::string(700'000, 'x'));
        EXPECT_EQ(copy_content(folder / "from", folder / "to"), hash_file(folder / "from").mark);
        EXPECT_EQ(read_file(folder / "to"), content);
    }
}

TEST(CopyContent, GivesAnotherMarkForAnotherContent) {
    const TemporaryFolder folder;
    std::string content(600'000, 'a');
    write_file(folder / "to", "");
    write_file(folder / "from", content);
    const ContentMark copied = copy_content(folder / "from", folder / "to");
    content.back() = 'b';
    write_file(folder / "from", content);
    EXPECT_NE(copied, hash_file(folder / "from").mark);
    write_file(folder / "from", content + '\0');
    EXPECT_NE(copied, hash_file(folder / "from").mark);
}

TEST(CopyContent, LeavesTheModeOfWhatItFills) {
    const TemporaryFolder folder;
    write_file(folder / "from", "new");
    write_file(folder / "to", "");
    fs::permissions(folder / "from", fs::perms{0444});
    fs::permissions(folder / "to", fs::perms{0600});
    copy_content(folder / "from", folder / "to");
    EXPECT_EQ(fs::status(folder / "to").permissions(), fs::perms{0600});
}

TEST(CopyContent, TellsWhetherReadingOrWritingFailed) {
    const TemporaryFolder folder;
    write_file(folder / "file", "some");
    const auto code_of_copy = [](const fs::path& from, const fs::path& to) {
        try {
            copy_content(from, to);
        } catch (const Failure& failure) {
            return failure.code();
        }
        return ExitCode::Done;
    };
    EXPECT_EQ(code_of_copy(folder / "missing", folder / "file"), ExitCode::Input);
    EXPECT_EQ(code_of_copy(folder / "file", "/dev/full"), ExitCode::Output);
    EXPECT_EQ(code_of_copy(folder / "file", folder / "missing"), ExitCode::Output);
}

// By the published implementation: 99aa06d3014798d86001c324468d497f.
TEST(ContentMarker, GivesThePublishedHashOfNothing) {
    EXPECT_EQ(ContentMarker().finish(), (ContentMark{0x6001C324468D497FU, 0x99AA06D3014798D8U}));
}

TEST(ContentMarker, TakesBytesInPieces) {
    const TemporaryFolder folder;
    const std::string content(600'000, 'a');
    write_file(folder / "file", content);
    for (const std::size_t piece : {1UL, 1000UL, 599'999UL}) {
        ContentMarker mark;
        mark.add(std::as_bytes(std::span(content).first(piece)));
        mark.add(std::as_bytes(std::span(content).subspan(piece)));
        EXPECT_EQ(mark.finish(), hash_file(folder / "file").mark) << piece;
    }
}

TEST(ContentHash, TellsThatAFileCannotBeRead) {
    const TemporaryFolder folder;
    EXPECT_THROW(hash_file(folder / "missing"), Failure);
    EXPECT_THROW(hash_file(folder.path()), Failure);
}

} // namespace
} // namespace talvora::host

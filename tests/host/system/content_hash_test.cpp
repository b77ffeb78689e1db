#include "host/system/content_hash.h"
#include "host/text/failure.h"
#include "tests/host/temporary_folder.h"

#include <gtest/gtest.h>

#include <string>

namespace talvora::host {
namespace {

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
        EXPECT_EQ(hash_file(folder / "file"), digest) << content.size();
    }
}

TEST(ContentHash, TellsThatAFileCannotBeRead) {
    const TemporaryFolder folder;
    EXPECT_THROW(hash_file(folder / "missing"), Failure);
    EXPECT_THROW(hash_file(folder.path()), Failure);
}

} // namespace
} // namespace talvora::host

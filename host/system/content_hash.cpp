#include "host/system/content_hash.h"

#include "host/text/failure.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

// Stays in the second-level cache between reading and hashing.
constexpr std::size_t BLOCK_BYTES = std::size_t{256} * 1024;

[[noreturn]] void fail(const std::filesystem::path& file, int error) {
    throw Failure(ExitCode::Input, fmt::format("cannot read the file '{}': {}", file.string(),
                                               std::generic_category().message(error)));
}

class OpenFile {
  public:
    explicit OpenFile(const std::filesystem::path& file)
        : name_(file), file_(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (file_ < 0) {
            fail(name_, errno);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() { close(file_); }

    // The number of bytes that were read; 0 at the end.
    std::size_t read_block(std::vector<char>& block) const {
        const ssize_t count = read(file_, block.data(), block.size());
        if (count < 0) {
            fail(name_, errno);
        }
        return static_cast<std::size_t>(count);
    }

  private:
    std::filesystem::path name_;
    int file_;
};

// The library answers 1 for done; it has no other trouble here than a lack of memory.
void check(int answer) {
    if (answer != 1) {
        throw std::bad_alloc();
    }
}

} // namespace

std::string hash_file(const std::filesystem::path& path) {
    const OpenFile file(path);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> state(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
    check(EVP_DigestInit_ex(state.get(), EVP_sha256(), nullptr));
    std::vector<char> block(BLOCK_BYTES);
    while (const std::size_t count = file.read_block(block)) {
        check(EVP_DigestUpdate(state.get(), block.data(), count));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    check(EVP_DigestFinal_ex(state.get(), digest.data(), &length));
    std::string text;
    for (unsigned i = 0; i < length; ++i) {
        text += fmt::format("{:02x}", digest[i]);
    }
    return text;
}

} // namespace talvora::host

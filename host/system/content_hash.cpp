#include "host/system/content_hash.h"

#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <fmt/format.h>
#include <openssl/evp.h>
#include <xxhash.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

// Stays in the second-level cache between reading and hashing.
constexpr std::size_t BLOCK_BYTES = std::size_t{256} * 1024;

[[noreturn]] void fail(ExitCode code, std::string_view what, const std::filesystem::path& file) {
    throw Failure(code, fmt::format("cannot {} the file '{}': {}", what, file.string(),
                                    std::generic_category().message(errno)));
}

class OpenFile {
  public:
    OpenFile(const std::filesystem::path& file, int flags, ExitCode code)
        : name_(file), code_(code), file_(open(name_to_open(file).c_str(), flags | O_CLOEXEC)) {
        if (file_ < 0) {
            fail(code_, "open", name_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (file_ >= 0) {
            ::close(file_);
        }
    }

    // The bytes that were read into the block; none at the end.
    std::span<const char> read_into(std::vector<char>& block) const {
        const ssize_t count = read(file_, block.data(), block.size());
        if (count < 0) {
            fail(code_, "read", name_);
        }
        return std::span(block).first(static_cast<std::size_t>(count));
    }

    void write_all(std::span<const char> bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = write(file_, bytes.data(), bytes.size());
            if (count < 0) {
                fail(code_, "write", name_);
            }
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        }
    }

    // Some file systems tell only here that bytes were lost.
    void close() {
        if (::close(std::exchange(file_, -1)) != 0) {
            fail(code_, "write", name_);
        }
    }

  private:
    std::filesystem::path name_;
    ExitCode code_;
    int file_;
};

// The library answers 1 for done; it has no other trouble here than a lack of memory.
void check(int answer) {
    if (answer != 1) {
        throw std::bad_alloc();
    }
}

class Sha256 {
  public:
    Sha256() : state_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
        check(EVP_DigestInit_ex(state_.get(), EVP_sha256(), nullptr));
    }
    void add(std::span<const char> bytes) {
        check(EVP_DigestUpdate(state_.get(), bytes.data(), bytes.size()));
    }
    std::string finish() {
        std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
        unsigned length = 0;
        check(EVP_DigestFinal_ex(state_.get(), digest.data(), &length));
        std::string text;
        for (unsigned i = 0; i < length; ++i) {
            text += fmt::format("{:02x}", digest[i]);
        }
        return text;
    }

  private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> state_;
};

} // namespace

void ContentMarker::FreeState::operator()(XXH3_state_s* state) const {
    XXH3_freeState(state);
}

ContentMarker::ContentMarker() : state_(XXH3_createState()) {
    if (state_ == nullptr || XXH3_128bits_reset(state_.get()) != XXH_OK) {
        throw std::bad_alloc();
    }
}

void ContentMarker::add(std::span<const std::byte> bytes) {
    XXH3_128bits_update(state_.get(), bytes.data(), bytes.size());
}

ContentMark ContentMarker::finish() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(state_.get());
    return {hash.low64, hash.high64};
}

HashedContent hash_bytes(std::span<const char> bytes) {
    Sha256 sha256;
    ContentMarker mark;
    sha256.add(bytes);
    mark.add(std::as_bytes(bytes));
    return {bytes.size(), sha256.finish(), mark.finish()};
}

HashedContent hash_file(const std::filesystem::path& path) {
    const OpenFile file(path, O_RDONLY, ExitCode::Input);
    HashedContent content;
    Sha256 sha256;
    ContentMarker mark;
    std::vector<char> block(BLOCK_BYTES);
    for (auto bytes = file.read_into(block); !bytes.empty(); bytes = file.read_into(block)) {
        sha256.add(bytes);
        mark.add(std::as_bytes(bytes));
        content.byte_count += bytes.size();
    }
    content.sha256 = sha256.finish();
    content.mark = mark.finish();
    return content;
}

ContentMark copy_content(const std::filesystem::path& from, const std::filesystem::path& to) {
    const OpenFile source(from, O_RDONLY, ExitCode::Input);
    OpenFile copy(to, O_WRONLY | O_TRUNC, ExitCode::Output);
    ContentMarker mark;
    std::vector<char> block(BLOCK_BYTES);
    for (auto bytes = source.read_into(block); !bytes.empty(); bytes = source.read_into(block)) {
        copy.write_all(bytes);
        mark.add(std::as_bytes(bytes));
    }
    copy.close();
    return mark.finish();
}

} // namespace talvora::host

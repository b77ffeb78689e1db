// What a file holds, as numbers that tell contents apart, and copies that are known to hold it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>

struct XXH3_state_s;

namespace talvora::host {

// XXH3, 128 bits: tells contents apart that differ by accident, at the speed of reading them.
struct ContentMark {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    bool operator==(const ContentMark&) const = default;
};

// Makes the mark of bytes that come piece by piece, however they are cut.
class ContentMarker {
  public:
    ContentMarker();
    void add(std::span<const std::byte> bytes);
    ContentMark finish() const;

  private:
    struct FreeState {
        void operator()(XXH3_state_s* state) const;
    };
    std::unique_ptr<XXH3_state_s, FreeState> state_;
};

struct HashedContent {
    std::uint64_t byte_count = 0;
    std::string sha256; // 64 hexadecimal digits
    ContentMark mark;
};

HashedContent hash_bytes(std::span<const char> bytes);

// Of the bytes that were read. Throws a Failure of the input when the file cannot be read.
HashedContent hash_file(const std::filesystem::path& file);

// Copies the bytes of a file over an existing one, whose rights it leaves alone. The mark is that
// of the bytes that were copied. Throws a Failure of the input or of the output.
ContentMark copy_content(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace talvora::host

// What a process is at, for another one that watches it: whose code runs, in which file, and
// whether it gets on. What a crash or a hang comes of is known by this.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace talvora::host {

enum class CodeAtWork {
    Own,
    File,  // the library that knows the file's format
    Plugin // of a plug-in library
};

// Lies in memory that both processes see; one of them writes.
struct WorkState {
    static constexpr std::size_t MAX_FILE_BYTES = 4096; // with the zero behind it

    std::atomic<CodeAtWork> code = CodeAtWork::Own;
    std::atomic<bool> plugin_ran = false;
    std::atomic<std::uint64_t> call_count = 0; // calls into the library of the format that ended
    std::array<char, MAX_FILE_BYTES> file{};   // the last one that was worked in
};

// From here on this process tells its state there, which stays.
void tell_work_state(WorkState& shared);

// For as long as it lives the format's library works in the file.
class InFile {
  public:
    explicit InFile(std::string_view file);
    InFile(const InFile&) = delete;
    InFile& operator=(const InFile&) = delete;
    ~InFile();

  private:
    CodeAtWork before_;
};

// For as long as it lives the plug-in's code runs, but where it calls back and that says otherwise.
class InPlugin {
  public:
    InPlugin();
    InPlugin(const InPlugin&) = delete;
    InPlugin& operator=(const InPlugin&) = delete;
    ~InPlugin();

  private:
    CodeAtWork before_;
};

void count_call();

// The last one that this process worked in; may be empty.
std::string_view last_file();

} // namespace talvora::host

// talvora-host as a user runs it: a process of its own, started with words.
#pragma once

#include "tests/host/temporary_folder.h"

#include <filesystem>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

namespace talvora::host {

struct ProgramResult {
    int exit_code = -1; // -1 when a signal ended it
    std::string output;
    std::string errors;
};

struct ProgramOptions {
    std::map<std::string, std::string> environment; // on top of the test's own
    bool without_privileges = false;                // as nobody, when the test is root
    std::filesystem::path program = TALVORA_HOST_PROGRAM;
};

// A program that runs until finish is called.
class Program {
  public:
    using Words = std::vector<std::string>;

    // In `folder`, where its output is kept too until it has ended.
    Program(const std::filesystem::path& folder, const Words& words,
            const ProgramOptions& options = {});
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    // True once its error stream holds the text; false when that takes over 20 s.
    bool waits_for(std::string_view text) const;
    void send(int signal_number) const;
    ProgramResult finish();

  private:
    TemporaryFolder streams_;
    pid_t process_ = 0;
};

inline ProgramResult run_program(const std::filesystem::path& folder, const Program::Words& words,
                                 const ProgramOptions& options = {}) {
    return Program(folder, words, options).finish();
}

} // namespace talvora::host

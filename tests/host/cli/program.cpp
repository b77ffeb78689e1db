#include "tests/host/cli/program.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace talvora::host {
namespace {

void redirect(const std::filesystem::path& file, int stream) {
    dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), stream);
}

[[noreturn]] void become_program(const std::filesystem::path& folder, const Program::Words& words,
                                 const ProgramOptions& options) {
    std::vector<char*> arguments = {const_cast<char*>(options.program.c_str())};
    std::ranges::transform(words, std::back_inserter(arguments),
                           [](const std::string& word) { return const_cast<char*>(word.c_str()); });
    arguments.push_back(nullptr);
    for (const auto& [name, value] : options.environment) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    const bool ready =
        chdir(folder.c_str()) == 0 &&
        (!options.without_privileges || geteuid() != 0 || setresuid(65534, 65534, 65534) == 0);
    if (ready) {
        execv(arguments[0], arguments.data());
    }
    _exit(127);
}

} // namespace

Program::Program(const std::filesystem::path& folder, const Words& words,
                 const ProgramOptions& options)
    : process_(fork()) {
    if (process_ == 0) {
        redirect(streams_ / "output", STDOUT_FILENO);
        redirect(streams_ / "errors", STDERR_FILENO);
        become_program(folder, words, options);
    }
}

Program::~Program() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

bool Program::waits_for(std::string_view text) const {
    using namespace std::chrono_literals;
    for (int i = 0; i < 2000; ++i) {
        if (read_file(streams_ / "errors").find(text) != std::string::npos) {
            return true;
        }
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

void Program::send(int signal_number) const {
    kill(process_, signal_number);
}

ProgramResult Program::finish() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = 0;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(streams_ / "output"),
            read_file(streams_ / "errors")};
}

} // namespace talvora::host

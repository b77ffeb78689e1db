// What a process comes to, tried in a child.
#pragma once

#include <fcntl.h>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace talvora::host {

// The exit code of a process that does the work.
inline int exit_code_of(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        // The message of a handler belongs to the test, not on its error stream.
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace talvora::host

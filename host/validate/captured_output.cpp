#include "host/validate/captured_output.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <share.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace talvora::host {

namespace {

#if defined(_WIN32)
constexpr char NOWHERE[] = "NUL";
#else
constexpr char NOWHERE[] = "/dev/null";
#endif

// A file that is gone when it is closed.
int open_nameless_file() {
#if defined(_WIN32)
    const char* folder = std::getenv("TMP");
    const std::string name =
        std::string(folder == nullptr ? "." : folder) + "\\captured-" + std::to_string(_getpid());
    return _open(name.c_str(), _O_CREAT | _O_TEMPORARY | _O_RDWR | _O_BINARY, _S_IREAD | _S_IWRITE);
#else
    const char* folder = std::getenv("TMPDIR");
    std::string name = std::string(folder == nullptr ? "/tmp" : folder) + "/captured-XXXXXX";
    const int file = mkostemp(name.data(), O_CLOEXEC);
    unlink(name.c_str());
    return file;
#endif
}

void let_the_rest_go() {
    if (std::FILE* nowhere = std::fopen(NOWHERE, "w")) {
        for (const int stream : {1, 2}) {
            dup2(fileno(nowhere), stream);
        }
        std::fclose(nowhere);
    }
}

} // namespace

CapturedOutput::CapturedOutput() : file_(open_nameless_file()) {
    if (file_ < 0) {
        throw std::runtime_error("no file to keep the output in");
    }
    std::fflush(nullptr);
    for (const int stream : {1, 2}) {
        saved_[stream - 1] = dup(stream);
        dup2(file_, stream);
    }
}

CapturedOutput::~CapturedOutput() {
    std::fflush(nullptr);
    for (const int stream : {1, 2}) {
        dup2(saved_[stream - 1], stream);
        close(saved_[stream - 1]);
    }
    close(file_);
}

std::string CapturedOutput::read() const {
    std::fflush(nullptr);
    lseek(file_, 0, SEEK_SET);
    char buffer[4096];
    const auto count = ::read(file_, buffer, sizeof(buffer));
    if (count <= 0) {
        return {};
    }
    let_the_rest_go();
    return {buffer, static_cast<std::size_t>(count)};
}

} // namespace talvora::host

#include "host/system/input_kind.h"

#include "host/text/failure.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <linux/magic.h>
#include <string>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <vector>

namespace talvora::host {
namespace {

// One that stands in no folder: it was opened with its writer.
bool is_unnamed_pipe(const std::filesystem::path& file) {
    struct statfs system {};
    return statfs(file.c_str(), &system) == 0 && system.f_type == PIPEFS_MAGIC;
}

bool is_own_terminal(const struct stat& status) {
    struct stat own {};
    return isatty(STDIN_FILENO) != 0 && fstat(STDIN_FILENO, &own) == 0 &&
           own.st_rdev == status.st_rdev;
}

[[noreturn]] void refuse(const std::filesystem::path& file, std::string_view kind,
                         std::vector<std::string> hints = {}) {
    throw Failure(ExitCode::Input,
                  fmt::format("{}: is a {}, which may never end (allowed: a file, or a pipe of the "
                              "shell's)",
                              file.string(), kind),
                  std::move(hints));
}

} // namespace

void refuse_endless_file(const std::filesystem::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) {
        return;
    }
    if (S_ISFIFO(status.st_mode) && !is_unnamed_pipe(file)) {
        refuse(file, "named pipe",
               {fmt::format("in its place: <(cat {})", quote_word(file.string()))});
    }
    if (S_ISSOCK(status.st_mode)) {
        refuse(file, "socket");
    }
    if (S_ISBLK(status.st_mode) || (S_ISCHR(status.st_mode) && !is_own_terminal(status))) {
        refuse(file, "device");
    }
}

} // namespace talvora::host

#include "host/system/standard_output.h"

#include "host/system/pending_cleanup.h"
#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace talvora::host {

void finish_standard_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw Failure(
            ExitCode::Output,
            fmt::format("standard output: {}{}", std::generic_category().message(errno),
                        is_any_file_in_place() ? "; what was written to files is complete" : ""));
    }
}

} // namespace talvora::host

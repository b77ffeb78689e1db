#include "host/system/standard_output.h"

#include "host/text/failure.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

namespace talvora::host {

void finish_standard_output(std::string_view besides) {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw Failure(
            ExitCode::Output,
            fmt::format("standard output: {}{}", std::generic_category().message(errno), besides));
    }
}

} // namespace talvora::host

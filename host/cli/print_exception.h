// Where a command ends with an exception.
#pragma once

#include "host/cli/console.h"
#include "host/runs/exceptions.h"
#include "host/text/failure.h"

namespace talvora::host {

// Prints the failure for the exception that is being handled, one of the standard library's
// kind (host/runs/exceptions.h); returns its exit code.
ExitCode print_exception(const Console& console, const WorkPlace& place = {});

} // namespace talvora::host

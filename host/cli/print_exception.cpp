#include "host/cli/print_exception.h"

#include "host/runs/exceptions.h"

namespace talvora::host {

ExitCode print_exception(const Console& console) {
    const Failure failure = explain_exception();
    console.failure(failure);
    return failure.code();
}

} // namespace talvora::host

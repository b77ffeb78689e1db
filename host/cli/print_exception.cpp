#include "host/cli/print_exception.h"

namespace talvora::host {

ExitCode print_exception(const Console& console, const WorkPlace& place) {
    const Failure failure = explain_exception(place);
    console.failure(failure);
    return failure.code();
}

} // namespace talvora::host

// The end of what a program prints.
#pragma once

#include <string_view>

namespace talvora::host {

// Sends what is still held back. Throws a Failure of the output when standard output could
// not take everything that was printed; `besides` stands behind what went wrong.
void finish_standard_output(std::string_view besides = {});

} // namespace talvora::host

// The end of what a program prints.
#pragma once

namespace talvora::host {

// Sends what is still held back. Throws a Failure of the output when standard output could
// not take everything that was printed.
void finish_standard_output();

} // namespace talvora::host

// How a fuzz target says that what it looks for does not hold.
#pragma once

#include <string_view>

namespace talvora::fuzz {

// Writes the sentence to standard error and ends the program, so that the fuzzer keeps
// the input.
[[noreturn]] void report_finding(std::string_view sentence);

} // namespace talvora::fuzz

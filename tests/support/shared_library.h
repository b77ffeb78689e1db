// A library loaded by file name, whatever the system.
#pragma once

#include <string>

namespace talvora::test_support {

// The system's handle; the library stays loaded to the end of the process. Throws
// std::runtime_error when it cannot be loaded.
void* load_library(const std::string& file);

// Null when the library exports no such name.
void* find_symbol(void* library, const std::string& name);

} // namespace talvora::test_support

// The archive of HDF5 is compiled for programs, which the standard streams are variables of; no
// shared library can be linked from that. The linker has it use these in their place (--wrap).
#include <cstdio>

extern "C" {
extern std::FILE* __real_stdin; // the standard ones
extern std::FILE* __real_stdout;
extern std::FILE* __real_stderr;

std::FILE* __wrap_stdin = nullptr;
std::FILE* __wrap_stdout = nullptr;
std::FILE* __wrap_stderr = nullptr;
}

namespace {

[[gnu::constructor]] void take_streams() {
    __wrap_stdin = __real_stdin;
    __wrap_stdout = __real_stdout;
    __wrap_stderr = __real_stderr;
}

} // namespace

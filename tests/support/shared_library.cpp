#include "tests/support/shared_library.h"

#include <stdexcept>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace talvora::test_support {

namespace {

#ifdef _WIN32
void* open_library(const std::string& file) {
    return LoadLibraryA(file.c_str());
}

std::string last_problem() {
    return "error " + std::to_string(GetLastError());
}
#else
void* open_library(const std::string& file) {
    return ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string last_problem() {
    return ::dlerror();
}
#endif

} // namespace

void* load_library(const std::string& file) {
    void* library = open_library(file);
    if (library == nullptr) {
        throw std::runtime_error(file + " cannot be loaded: " + last_problem());
    }
    return library;
}

void* find_symbol(void* library, const std::string& name) {
#ifdef _WIN32
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name.c_str()));
#else
    return ::dlsym(library, name.c_str());
#endif
}

} // namespace talvora::test_support

#include "host/system/shared_library.h"

#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <system_error>
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace talvora::host {

#if defined(_WIN32)

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : library_(LoadLibraryW(std::filesystem::absolute(file).c_str())) {
    if (library_ == nullptr) {
        throw std::runtime_error(std::system_category().message(static_cast<int>(GetLastError())));
    }
}

void* SharedLibrary::find(const char* name) const {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library_.get()), name));
}

void SharedLibrary::Unload::operator()(void* library) const {
    FreeLibrary(static_cast<HMODULE>(library));
}

#else

namespace {

// What the system says, but for the file where it begins with that: callers name it themselves.
std::string take_problem(const std::filesystem::path& file) {
    const std::string problem = dlerror();
    const std::string start = std::filesystem::absolute(file).string() + ": ";
    return problem.starts_with(start) ? problem.substr(start.size()) : problem;
}

} // namespace

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : library_(dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        throw std::runtime_error(take_problem(file));
    }
}

void* SharedLibrary::find(const char* name) const {
    return dlsym(library_.get(), name);
}

void SharedLibrary::Unload::operator()(void* library) const {
    dlclose(library);
}

#endif

} // namespace talvora::host

#include "host/system/shared_library.h"

#include <stdexcept>

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

SharedLibrary::SharedLibrary(const std::filesystem::path& file)
    : library_(dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (library_ == nullptr) {
        throw std::runtime_error(dlerror());
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

// A shared library in this process, loaded the way of the platform.
#pragma once

#include <filesystem>
#include <memory>

namespace talvora::host {

class SharedLibrary {
  public:
    // Every symbol that it needs is found now, and its own are given to nobody else.
    // Throws std::runtime_error with the platform's reason.
    explicit SharedLibrary(const std::filesystem::path& file);

    // The address of an exported name; null when there is none.
    void* find(const char* name) const;

  private:
    struct Unload {
        void operator()(void* library) const;
    };

    std::unique_ptr<void, Unload> library_; // unloads when the object goes
};

} // namespace talvora::host

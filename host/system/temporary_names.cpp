#include "host/system/temporary_names.h"

#include "host/text/parse_number.h"

#include <fmt/format.h>

#include <optional>
#include <system_error>

#if defined(_WIN32)
#include <cstdlib>
#include <windows.h>
#else
#include <array>
#include <cerrno>
#include <csignal>
#include <unistd.h>
#endif

namespace talvora::host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t RANDOM_LENGTH = 6;

// File systems take names of up to 255 bytes; a long name is cut to leave room.
constexpr std::size_t MAX_STEM_LENGTH = 100;

#if defined(_WIN32)

std::string host_name() {
    const char* name = std::getenv("COMPUTERNAME");
    return name == nullptr ? "" : name;
}

long own_id() {
    return static_cast<long>(GetCurrentProcessId());
}

bool is_dead(long process) {
    const HANDLE handle =
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process));
    const DWORD error = GetLastError();
    if (handle != nullptr) {
        CloseHandle(handle);
    }
    return handle == nullptr && error == ERROR_INVALID_PARAMETER;
}

#else

std::string host_name() {
    std::array<char, 64> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

long own_id() {
    return getpid();
}

bool is_dead(long process) {
    return kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
}

#endif

// The process. Nothing when the name is not one that this machine gave to a temporary file.
std::optional<long> find_owner(std::string_view name) {
    const std::string host = fmt::format(".{}.", host_name());
    const std::size_t tail = RANDOM_LENGTH + 1 + TEMPORARY_SUFFIX.size();
    const std::size_t host_at = name.rfind(host);
    if (!name.ends_with(TEMPORARY_SUFFIX) || host_at == std::string_view::npos ||
        host_at + host.size() + tail >= name.size()) {
        return std::nullopt;
    }
    name.remove_suffix(tail);
    return parse_number<int>(name.substr(host_at + host.size()));
}

} // namespace

std::string make_temporary_name(const std::string& stem, std::string_view random) {
    return fmt::format(".{}.{}.{}.{}{}", stem.substr(0, MAX_STEM_LENGTH), host_name(), own_id(),
                       random, TEMPORARY_SUFFIX);
}

void sweep_dead_files(const fs::path& folder) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        const std::optional<long> owner = find_owner(entry.path().filename().string());
        if (owner && *owner > 0 && is_dead(*owner)) {
            fs::remove_all(entry.path(), ignored);
        }
    }
}

} // namespace talvora::host

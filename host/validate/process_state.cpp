#include "host/validate/process_state.h"

#include <fmt/format.h>

#include <cfenv>
#include <clocale>
#include <filesystem>
#include <locale>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif
#if !defined(_WIN32)
#include <csignal>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#if !defined(_WIN32)
extern char** environ;
#endif

namespace talvora::host {

namespace {

Settings read_floating_point() {
    Settings settings{{"rounding mode", fmt::format("{}", std::fegetround())}};
#if defined(__x86_64__)
    // The lowest six bits tell what has happened, not what is to happen.
    settings["control bits"] = fmt::format("{:#x}", _mm_getcsr() & ~0x3FU);
    unsigned short word = 0;
    __asm__("fnstcw %0" : "=m"(word));
    settings["x87 control word"] = fmt::format("{:#x}", word);
#endif
    return settings;
}

Settings read_locale() {
    Settings settings{{"C locale", std::setlocale(LC_ALL, nullptr)},
                      {"C++ locale", std::locale().name()}};
#if !defined(_WIN32)
    settings["thread's locale"] = fmt::format("{}", static_cast<void*>(uselocale(nullptr)));
#endif
    return settings;
}

#if defined(_WIN32)

Settings read_signals() {
    return {};
}

Settings read_surroundings() {
    return {{"working folder", std::filesystem::current_path().string()}};
}

Settings read_threads() {
    return {};
}

Settings read_files() {
    return {};
}

#else

std::string describe_action(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return fmt::format("{} {:#x}", reinterpret_cast<void*>(action.sa_handler), action.sa_flags);
}

Settings read_signals() {
    Settings settings;
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < NSIG; ++signal) {
        settings[fmt::format("mask of signal {}", signal)] =
            sigismember(&blocked, signal) == 1 ? "blocked" : "open";
        settings[fmt::format("handler of signal {}", signal)] = describe_action(signal);
    }
    return settings;
}

Settings read_surroundings() {
    const mode_t mask = umask(0);
    umask(mask);
    Settings settings{{"working folder", std::filesystem::current_path().string()},
                      {"file mode mask", fmt::format("{:o}", mask)}};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        settings["variable " + text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
    }
    return settings;
}

// The folder /proc/self/fd shows the descriptor that it is read with as well.
Settings read_folder(const char* folder) {
    Settings settings;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        settings[entry.path().filename().string()] =
            std::filesystem::read_symlink(entry.path(), error).string();
    }
    std::erase_if(settings, [](const auto& entry) { return entry.second.starts_with("/proc/"); });
    return settings;
}

Settings read_threads() {
    return read_folder("/proc/self/task");
}

Settings read_files() {
    return read_folder("/proc/self/fd");
}

#endif

std::string describe_setting(const Settings& settings, const std::string& name) {
    const auto found = settings.find(name);
    return found == settings.end() ? "nothing" : "'" + found->second + "'";
}

} // namespace

Settings read_process_state(StateAspect aspect) {
    switch (aspect) {
    case StateAspect::FloatingPoint:
        return read_floating_point();
    case StateAspect::Locale:
        return read_locale();
    case StateAspect::Signals:
        return read_signals();
    case StateAspect::Surroundings:
        return read_surroundings();
    case StateAspect::Threads:
        return read_threads();
    case StateAspect::Files:
        return read_files();
    }
    return {};
}

bool is_known(StateAspect aspect) {
#if defined(_WIN32)
    return aspect == StateAspect::FloatingPoint || aspect == StateAspect::Locale ||
           aspect == StateAspect::Surroundings;
#else
    return aspect <= StateAspect::Files;
#endif
}

std::vector<std::string> describe_changes(const Settings& before, const Settings& after) {
    Settings all = before;
    all.insert(after.begin(), after.end());
    std::vector<std::string> changes;
    for (const auto& [name, value] : all) {
        const std::string was = describe_setting(before, name);
        const std::string is = describe_setting(after, name);
        if (was != is) {
            changes.push_back(fmt::format("{} was {}, is {}", name, was, is));
        }
    }
    return changes;
}

} // namespace talvora::host

#include "host/validate/process_state.h"

#include "host/validate/processor.h"

#include <fmt/format.h>

#include <cfenv>
#include <clocale>
#include <exception>
#include <filesystem>
#include <locale>
#include <new>

#if !defined(_WIN32)
#include <csignal>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
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
    settings.merge(read_control_registers());
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

template <typename Function>
std::string show_address(Function* function) {
    return fmt::format("{}", reinterpret_cast<void*>(function));
}

// Those of the C++ library that plug-in and host share.
Settings read_handlers() {
    return {{"handler of new", show_address(std::get_new_handler())},
            {"handler of terminate", show_address(std::get_terminate())}};
}

#if defined(_WIN32)

Settings read_signals() {
    return {};
}

Settings read_limits() {
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

struct NamedResource {
    const char* name;
    decltype(RLIMIT_CPU) resource;
};

#define TALVORA_RESOURCE(name)                                                                     \
    { "limit " #name, name }
constexpr NamedResource RESOURCES[] = {
    TALVORA_RESOURCE(RLIMIT_CPU),      TALVORA_RESOURCE(RLIMIT_FSIZE),
    TALVORA_RESOURCE(RLIMIT_DATA),     TALVORA_RESOURCE(RLIMIT_STACK),
    TALVORA_RESOURCE(RLIMIT_CORE),     TALVORA_RESOURCE(RLIMIT_RSS),
    TALVORA_RESOURCE(RLIMIT_NOFILE),   TALVORA_RESOURCE(RLIMIT_AS),
    TALVORA_RESOURCE(RLIMIT_NPROC),    TALVORA_RESOURCE(RLIMIT_MEMLOCK),
    TALVORA_RESOURCE(RLIMIT_LOCKS),    TALVORA_RESOURCE(RLIMIT_SIGPENDING),
    TALVORA_RESOURCE(RLIMIT_MSGQUEUE), TALVORA_RESOURCE(RLIMIT_NICE),
    TALVORA_RESOURCE(RLIMIT_RTPRIO),   TALVORA_RESOURCE(RLIMIT_RTTIME)};
#undef TALVORA_RESOURCE

std::string show_limit(rlim_t limit) {
    return limit == RLIM_INFINITY ? "unlimited" : fmt::format("{}", limit);
}

std::string list_processors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    std::string list;
    for (std::size_t i = 0; i < CPU_SETSIZE; ++i) {
        list += CPU_ISSET(i, &set) ? fmt::format("{}{}", list.empty() ? "" : " ", i) : "";
    }
    return list;
}

Settings read_limits() {
    Settings settings{{"priority (nice)", fmt::format("{}", getpriority(PRIO_PROCESS, 0))},
                      {"scheduling policy", fmt::format("{}", sched_getscheduler(0))},
                      {"processors", list_processors()}};
    for (const NamedResource& named : RESOURCES) {
        rlimit limit{};
        getrlimit(named.resource, &limit);
        settings[named.name] =
            fmt::format("{} of {}", show_limit(limit.rlim_cur), show_limit(limit.rlim_max));
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
    case StateAspect::Handlers:
        return read_handlers();
    case StateAspect::Limits:
        return read_limits();
    }
    return {};
}

bool is_known(StateAspect aspect) {
#if defined(_WIN32)
    return aspect == StateAspect::FloatingPoint || aspect == StateAspect::Locale ||
           aspect == StateAspect::Surroundings;
#else
    return aspect <= StateAspect::Limits;
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

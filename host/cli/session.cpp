#include "host/cli/session.h"

#include "host/text/join_texts.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view PLUGIN_FILE = "kpl-talvora_signal.so";

// Where a build leaves the library, and where an installation does.
fs::path find_beside_program() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    const fs::path candidates[] = {
        folder / PLUGIN_FILE,
        folder / fmt::format("lib{}", PLUGIN_FILE),
        folder / "../lib/talvora" / PLUGIN_FILE,
    };
    for (const fs::path& candidate : candidates) {
        if (fs::exists(candidate, error)) {
            return candidate.lexically_normal();
        }
    }
    throw Failure(ExitCode::Plugin,
                  fmt::format("no plug-in '{}' beside the program in '{}' or in '../lib/talvora'",
                              PLUGIN_FILE, folder.string()),
                  {"name the library: --plugin FILE or TALVORA_PLUGIN_PATH"});
}

// A folder stands for the project's plug-in in it, else for the one library that it holds.
fs::path find_in_folder(const fs::path& folder) {
    std::error_code error;
    if (fs::exists(folder / PLUGIN_FILE, error)) {
        return folder / PLUGIN_FILE;
    }
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".so") {
            names.push_back(entry.path().filename().string());
        }
    }
    if (names.size() == 1) {
        return folder / names.front();
    }
    std::ranges::sort(names);
    throw Failure(ExitCode::Plugin,
                  names.empty() ? fmt::format("{}: a folder without a plug-in library (allowed: a "
                                              "library, or a folder with one *.so in it)",
                                              folder.string())
                                : fmt::format("{}: a folder with {} libraries ({})",
                                              folder.string(), names.size(), join_texts(names)),
                  {"name the library: --plugin FILE or TALVORA_PLUGIN_PATH"});
}

} // namespace

fs::path Session::plugin_file() const {
    const char* variable = std::getenv("TALVORA_PLUGIN_PATH");
    const fs::path path = plugin_option.empty() && variable != nullptr ? variable : plugin_option;
    if (path.empty()) {
        return find_beside_program();
    }
    std::error_code error;
    return fs::is_directory(path, error) ? find_in_folder(path) : path;
}

const PluginLibrary& Session::plugin() {
    if (!plugin_) {
        const fs::path file = plugin_file();
        console.detail(fmt::format("plug-in {}", file.string()));
        plugin_.emplace(file);
    }
    return *plugin_;
}

const Unit& Session::find_unit(std::string_view name) {
    if (const Unit* unit = plugin().find_unit(name)) {
        return *unit;
    }
    const auto nearest = find_nearest_unit(plugin(), name);
    throw Failure(ExitCode::Usage, fmt::format("no unit '{}'", name),
                  {nearest ? fmt::format("did you mean '{}'?  talvora-host units", *nearest)
                           : "list them: talvora-host units"});
}

} // namespace talvora::host

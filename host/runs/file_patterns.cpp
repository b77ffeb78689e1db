#include "host/runs/file_patterns.h"

#include "host/text/failure.h"
#include "host/text/path_glob.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <system_error>
#include <utility>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

bool is_hidden(const std::string& name) {
    return name.starts_with('.');
}

// What is in a folder and matches a pattern for names; nothing in what is no folder.
std::vector<fs::path> match_names(const fs::path& folder, const std::string& pattern) {
    std::vector<std::string> names;
    std::error_code ignored;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, ignored);
         entry != fs::directory_iterator(); entry.increment(ignored)) {
        const std::string name = entry->path().filename().string();
        if (matches_path(pattern, name) && is_hidden(name) == is_hidden(pattern)) {
            names.push_back(name);
        }
    }
    sort_naturally(names);
    std::vector<fs::path> paths;
    std::ranges::transform(names, std::back_inserter(paths),
                           [&](const std::string& name) { return folder / name; });
    return paths;
}

std::vector<fs::path> match_files(const fs::path& pattern) {
    std::vector<fs::path> paths = {""};
    for (const fs::path& part : pattern) {
        std::vector<fs::path> further;
        for (const fs::path& path : paths) {
            if (is_pattern(part.string())) {
                std::ranges::copy(match_names(path, part.string()), std::back_inserter(further));
            } else {
                further.push_back(path / part);
            }
        }
        paths = std::move(further);
    }
    std::erase_if(paths, [](const fs::path& path) {
        std::error_code ignored;
        return !fs::exists(path, ignored);
    });
    return paths;
}

} // namespace

std::vector<fs::path> find_files(const fs::path& file) {
    std::error_code ignored;
    if (!is_pattern(file.string()) || fs::exists(file, ignored)) {
        return {file};
    }
    std::vector<fs::path> files = match_files(file);
    if (files.empty()) {
        throw Failure(ExitCode::Input, fmt::format("no file matches '{}'", file.string()),
                      {"* and ? stand for letters of one name: 'results/*.h5::Means/**'"});
    }
    return files;
}

} // namespace talvora::host

#include "host/path_glob.h"

#include <fnmatch.h>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {
namespace {

using Names = std::span<const std::string>;

std::vector<std::string> split_names(std::string_view path) {
    std::vector<std::string> names;
    while (!path.empty()) {
        const std::size_t end = path.find('/');
        if (end != 0) {
            names.emplace_back(path.substr(0, end));
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return names;
}

bool matches_names(Names pattern, Names path) {
    if (pattern.empty()) {
        return path.empty();
    }
    if (pattern.front() == "**") {
        return matches_names(pattern.subspan(1), path) ||
               (!path.empty() && matches_names(pattern, path.subspan(1)));
    }
    return !path.empty() && fnmatch(pattern.front().c_str(), path.front().c_str(), 0) == 0 &&
           matches_names(pattern.subspan(1), path.subspan(1));
}

} // namespace

bool matches_path(std::string_view pattern, std::string_view path) {
    const std::vector<std::string> pattern_names = split_names(pattern);
    const std::vector<std::string> path_names = split_names(path);
    return matches_names(pattern_names, path_names);
}

} // namespace talvora::host

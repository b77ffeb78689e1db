#include "host/cli/tree_places.h"

#include "host/runs/file_patterns.h"

#include <algorithm>

namespace talvora::host {

std::vector<ChosenFile> choose_files(std::span<const std::string> words) {
    std::vector<ChosenFile> chosen;
    for (const std::string& word : words) {
        const TreePlace place = parse_tree_place(word);
        for (const std::filesystem::path& file : find_files(place.file)) {
            auto known = std::ranges::find(chosen, file, &ChosenFile::file);
            if (known == chosen.end()) {
                known = chosen.insert(chosen.end(), {file, {}});
            }
            known->globs.push_back(place.glob);
        }
    }
    return chosen;
}

} // namespace talvora::host

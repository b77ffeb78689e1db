// Files that a pattern in a word of the command line stands for, where no shell has put them there.
#pragma once

#include <filesystem>
#include <vector>

namespace talvora::host {

// The files that match (host/text/path_glob.h), in natural order; names that begin with '.' are
// matched by those alone that do. A word that is no pattern, or names an existing file as it
// stands, is that file. Throws a Failure of the input for a pattern that no file matches.
std::vector<std::filesystem::path> find_files(const std::filesystem::path& file);

} // namespace talvora::host

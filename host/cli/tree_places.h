// Files and what they hold, as the words of a command line choose them.
#pragma once

#include "host/runs/input_files.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// One file with the patterns for objects in it; none: everything.
struct ChosenFile {
    std::filesystem::path file;
    std::vector<std::string> globs;
};

// FILE, FILE::GLOB, and either with a pattern in place of the file (host/runs/file_patterns.h).
// Each file once, in the order in which the words name them and those of a pattern in natural
// order. Throws a Failure of the input for a pattern that no file matches.
std::vector<ChosenFile> choose_files(std::span<const std::string> words);

} // namespace talvora::host

// Files as words of the command line name them.
#pragma once

#include "host/data_tree.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace talvora::host {

// A file and, behind the last "::", a pattern for objects in it.
struct TreePlace {
    std::filesystem::path file;
    std::string glob; // empty: everything
};

// A word that names an existing file as it stands is that file, whatever it holds.
TreePlace parse_tree_place(std::string_view word);

// Opens an HDF5 file to read. Throws a Failure of the input that says what the path
// is instead.
std::unique_ptr<DataTree> open_input(const std::filesystem::path& file);

// As one word of a shell command.
std::string quote_word(std::string_view word);

} // namespace talvora::host

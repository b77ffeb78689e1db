// The files that a command reads, as words of the command line name them.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/runs/exceptions.h"

#include <exception>
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

// Opens an HDF5 file to read; a Failure of the input says what is wrong with it.
std::unique_ptr<Hdf5Tree> open_input(const std::filesystem::path& file);

// Does a step that reads the file; what fails in it is thrown as the failure that
// explain_exception finds, which names the file.
template <typename Step>
auto read_input(const std::filesystem::path& file, const Step& step) {
    try {
        return step();
    } catch (const std::exception&) {
        throw explain_exception({.input = file.string()});
    }
}

} // namespace talvora::host

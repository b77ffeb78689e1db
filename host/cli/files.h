// Files as words of the command line name them, and the steps of reading and writing
// HDF5 files that the commands share.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/text/failure.h"
#include "host/text/quote_word.h"

#include <filesystem>
#include <functional>
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

// Makes an HDF5 file in the place of the temporary file at this path.
std::unique_ptr<Hdf5Tree> create_over(const std::filesystem::path& temporary);

// Copies the bytes of a file over a temporary one, which stays writable.
void copy_content(const std::filesystem::path& from, const std::filesystem::path& temporary);

// Opens what was written once more and visits its objects.
void check_written(const std::filesystem::path& temporary);

using TextSink = std::function<void(std::string_view)>;

// Makes a file of the text that `work` sends piece by piece, or sends it to standard output
// where `output` is "-".
void write_text_file(const std::string& output, bool replace,
                     const std::function<void(const TextSink&)>& work);

// Does a step on the way to `output`; what fails in it is a Failure of the output, unless
// it is that the copied input cannot be read.
template <typename Step>
auto make_output(const std::filesystem::path& output, Step step) {
    try {
        return step();
    } catch (const StorageError& error) {
        const bool reading = error.access() == StorageError::Access::Reading;
        throw Failure(reading ? ExitCode::Input : ExitCode::Output,
                      output.string() + ": " + error.what());
    } catch (const TreeError& error) {
        throw Failure(ExitCode::Output, output.string() + ": " + error.what());
    } catch (const std::filesystem::filesystem_error& error) {
        throw Failure(ExitCode::Output, output.string() + ": " + error.code().message());
    }
}

} // namespace talvora::host

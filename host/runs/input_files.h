// The files that a command reads, as words of the command line name them.
#pragma once

#include "host/hdf5/hdf5_tree.h"
#include "host/runs/exceptions.h"
#include "host/system/file_identity.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
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

// Throws a Failure of the input when it has changed.
void refuse_change(const std::filesystem::path& input, bool has_changed);

// A file that is read from here on, and held to be the same until it was.
class UnchangedInput {
  public:
    // Before the file is opened, so that no change passes between the two.
    explicit UnchangedInput(const std::filesystem::path& file);

    // To be called behind the last read. Throws a Failure of the input where another program has
    // changed the file, or put another in its place.
    void check() const;

  private:
    std::filesystem::path file_;
    std::optional<FileIdentity> before_;
};

// Does a step that opens the file and reads it, as read_input does, and sees to it that all it has
// read is of one moment.
template <typename Step>
auto read_unchanged(const std::filesystem::path& file, const Step& step) {
    const UnchangedInput unchanged(file);
    auto result = read_input(file, step);
    unchanged.check();
    return result;
}

} // namespace talvora::host

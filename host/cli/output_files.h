// The steps on the way to a file that a command makes.
#pragma once

#include "host/cli/exceptions.h"
#include "host/hdf5/hdf5_tree.h"
#include "host/system/safe_write.h"

#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace talvora::host {

// Makes an HDF5 file in the place of the temporary file at this path, as closed to others as
// that one. To be called while no other thread makes files.
std::unique_ptr<Hdf5Tree> create_over(const std::filesystem::path& temporary);

// Opens what was written once more and visits its objects.
void check_written(const std::filesystem::path& temporary);

using TextSink = std::function<void(std::string_view)>;

// Makes a file of the text that `work` sends piece by piece, or sends it to standard output
// where `output` is "-". What people should know of the file is a warning.
void write_text_file(const Console& console, const std::string& output, const WriteOptions& options,
                     const std::function<void(const TextSink&)>& work);

// Publishes the file; what people should know of it is a warning.
void publish(const Console& console, PendingFile& pending);

// Does a step on the way to the place's output; what fails in it is thrown as the failure
// that explain_exception finds.
template <typename Step>
auto make_output(const WorkPlace& place, const Step& step) {
    try {
        return step();
    } catch (const std::exception&) {
        throw explain_exception(place);
    }
}

} // namespace talvora::host

#include "host/hdf5/hdf5_files.h"

#include "host/system/pending_cleanup.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace talvora::host::hdf5 {

namespace {

// Closing the file closes all that is open in it, so that a close is a close.
Id file_access() {
    Id properties = make_properties(H5P_FILE_ACCESS);
    checked(H5Pset_fclose_degree(properties, H5F_CLOSE_STRONG), "set", "how to close files");
    checked(H5Pset_libver_bounds(properties, H5F_LIBVER_V18, H5F_LIBVER_LATEST), "set",
            "the format of files");
    return properties;
}

// A link to itself names no file, as one to nothing does.
constexpr std::errc LEADS_IN_CIRCLES = std::errc::too_many_symbolic_link_levels;

[[noreturn]] void refuse_file(const std::filesystem::path& file, std::string_view reason) {
    throw TreeError(fmt::format("cannot open the file '{}': {}", file.string(), reason));
}

// What a text begins with, as it tells best what the file is.
std::string describe_beginning(const std::filesystem::path& file) {
    constexpr std::size_t MAX_SHOWN = 40;
    const auto is_printable = [](char c) { return c >= ' ' && c <= '~'; };
    std::string line;
    std::getline(std::ifstream(file, std::ios::binary), line);
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    line.resize(std::min(line.size(), MAX_SHOWN));
    return line.empty() || !std::ranges::all_of(line, is_printable)
               ? ""
               : fmt::format(": it begins with '{}'", line);
}

void check_file(const std::filesystem::path& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::status_known(status) && error != LEADS_IN_CIRCLES) {
        refuse_file(file, error.message());
    }
    if (!std::filesystem::exists(status)) {
        refuse_file(file, "there is no such file");
    }
    if (std::filesystem::is_directory(status)) {
        refuse_file(file, "it is a folder");
    }
    if (!std::filesystem::is_regular_file(status)) {
        refuse_file(file, "it is no regular file");
    }
    if (std::filesystem::file_size(file, error) == 0) {
        refuse_file(file, "it is empty");
    }
    if (checked(H5Fis_hdf5(name_to_open(file).c_str()), "open the file", file.string()) == 0) {
        refuse_file(file, "it is not an HDF5 file" + describe_beginning(file));
    }
}

// Between the headers of objects.
bool shares_messages(hid_t file) {
    const Id properties = owned(H5Fget_create_plist(file), "read", "the properties of a file");
    unsigned index_count = 0;
    checked(H5Pget_shared_mesg_nindexes(properties, &index_count), "read",
            "the properties of a file");
    return index_count > 0;
}

} // namespace

// The library prints its errors by itself unless it is told not to. At the end of the
// process it would close files again that it could not write before, and crash: ours are
// closed by then, or not worth it. The first call fails when it is repeated, which is no fault.
void start_library() {
    H5dont_atexit();
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

Id create_file(const std::filesystem::path& file) {
    start_library();
    const bool fills = is_pending_file(file);
    return owned(H5Fcreate(name_to_open(file).c_str(), fills ? H5F_ACC_TRUNC : H5F_ACC_EXCL,
                           creation_properties(H5P_FILE_CREATE), file_access()),
                 "create the file", file.string());
}

Id open_file(const std::filesystem::path& file, bool for_writing) {
    start_library();
    check_file(file);
    const Id access = file_access(); // letting it go would clear the stack of errors
    Id opened(
        H5Fopen(name_to_open(file).c_str(), for_writing ? H5F_ACC_RDWR : H5F_ACC_RDONLY, access));
    if (opened >= 0) {
        if (for_writing && shares_messages(opened)) {
            suspect_shared_messages();
        }
        return opened;
    }
    const std::string reason = innermost_error();
    if (reason.starts_with(fmt::format("unable to lock file, errno = {},", EAGAIN))) {
        refuse_file(file, "another program has it open: " + reason);
    }
    refuse_file(file, reason);
}

void flush_file(hid_t file, const std::filesystem::path& name) {
    checked(H5Fflush(file, H5F_SCOPE_GLOBAL), "write the file", name.string());
}

void close_file(Id file, const std::filesystem::path& name) {
    checked(H5Fclose(file.release()), "close the file", name.string());
}

} // namespace talvora::host::hdf5

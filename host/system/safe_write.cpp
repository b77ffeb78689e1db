#include "host/system/safe_write.h"

#include "host/system/file_rights.h"
#include "host/system/folder_of.h"
#include "host/system/pending_cleanup.h"
#include "host/system/temporary_names.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/quote_word.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace talvora::host {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, std::string_view what, int error = errno) {
    throw Failure(ExitCode::Output, fmt::format("{}: {}: {}", path.string(), what,
                                                std::generic_category().message(error)));
}

// The folder itself, or the nearest one above it that is there.
fs::path nearest_existing(fs::path folder) {
    std::error_code error;
    while (!fs::exists(folder, error) && folder.has_relative_path()) {
        folder = folder_of(folder);
    }
    return folder;
}

// A write through a symbolic link goes to what it points to.
fs::path follow_links(const fs::path& path) {
    std::error_code error;
    const fs::path target = fs::weakly_canonical(path, error);
    return !error && fs::is_symlink(path, error) ? target : path;
}

void sync_file(const fs::path& path, int file) {
    if (file < 0 || fsync(file) != 0) {
        fail(path, "cannot be synced");
    }
}

void sync_folder(const fs::path& folder) {
    const int file = open(folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY);
    const bool done = file >= 0 && fsync(file) == 0;
    const int error = errno;
    if (file >= 0) {
        close(file);
    }
    if (!done) {
        fail(folder, "cannot be synced", error);
    }
}

// What stands in it is in its place all the same, so a failure is only noted.
void sync_folder_of(const fs::path& path, std::vector<std::string>& notes) {
    try {
        sync_folder(folder_of(path));
    } catch (const Failure& failure) {
        notes.push_back(fmt::format("{}: is in place, but may be lost when the power fails: {}",
                                    path.string(), failure.what()));
    }
}

// Each new folder, and its place in the one above.
void make_folders(const fs::path& folder, std::vector<std::string>& notes) {
    std::error_code error;
    if (fs::is_directory(folder, error)) {
        return;
    }
    make_folders(folder_of(folder), notes);
    if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) {
        fail(folder, "the folder cannot be made");
    }
    sync_folder_of(folder, notes);
}

// A second name replaces nothing either. Where the file system knows no second names, it is the
// look at the destination just before that keeps from replacing one.
int link_or_rename(const char* from, const char* to) {
    if (link(from, to) == 0) {
        unlink(from); // whether it goes or not: the file has its name
        return 0;
    }
    return errno == EPERM || errno == EOPNOTSUPP ? std::rename(from, to) : -1;
}

// Without `replace` a destination that came up in the meantime is left alone.
int rename_over(const fs::path& from, const fs::path& to, bool replace) {
    if (replace) {
        return std::rename(from.c_str(), to.c_str());
    }
    const int result = renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    const bool unknown = result != 0 && (errno == EINVAL || errno == ENOSYS);
    return unknown ? link_or_rename(from.c_str(), to.c_str()) : result;
}

// A second name. Where the file system knows none, the file has the new one alone.
bool name_otherwise(const fs::path& from, const fs::path& to) {
    return link(from.c_str(), to.c_str()) == 0 ||
           (errno != EEXIST && rename_over(from, to, false) == 0);
}

void refuse_kept(const fs::path& kept) {
    std::error_code ignored;
    if (fs::exists(fs::symlink_status(kept, ignored))) {
        throw Failure(ExitCode::Output, fmt::format("{}: exists", kept.string()),
                      {"a run that was killed kept it before it replaced it: move or remove it"});
    }
}

// As chattr +a has it: a file can be made there, and neither renamed nor removed.
bool allows_adding_alone(const fs::path& folder) {
    struct statx status {};
    return statx(AT_FDCWD, folder.c_str(), 0, 0, &status) == 0 &&
           (status.stx_attributes & STATX_ATTR_APPEND) != 0;
}

// Nobody else's, so that its lock is free.
fs::path choose_trial_name() {
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (error) {
        fail("dry run", "no folder for temporary files", error.value());
    }
    return folder / fmt::format("trial-{:08x}", std::random_device{}());
}

// A program that writes to the file, as the HDF5 library tells by a lock, would go on writing to
// what nobody sees any more.
void refuse_open_for_writing(const fs::path& file) {
    const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (opened < 0) {
        return; // nor does it tell who reads it
    }
    const bool busy = flock(opened, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(opened);
    if (busy) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: is open for writing in another program", file.string()));
    }
}

} // namespace

fs::path kept_name_of(const fs::path& destination) {
    return destination.string() + ".older";
}

void check_destination(const fs::path& destination, const WriteOptions& options) {
    if (is_temporary_name(destination)) {
        throw Failure(
            ExitCode::Output,
            fmt::format("{}: is named as what a killed run leaves, and would be removed as "
                        "that (allowed: other names than .NAME.XXXXXX{})",
                        destination.string(), TEMPORARY_SUFFIX));
    }
    const fs::path folder = folder_of(follow_links(destination));
    std::error_code error;
    const fs::file_status status = fs::status(destination, error);
    if (error && status.type() != fs::file_type::not_found) {
        fail(destination, "cannot be written", error.value());
    }
    if (!fs::exists(status) && fs::is_symlink(fs::symlink_status(destination, error))) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: is a link to '{}', which does not exist",
                                  destination.string(), fs::read_symlink(destination).string()));
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: exists and is no regular file", destination.string()));
    }
    if (fs::exists(status) && !options.replace) {
        throw Failure(ExitCode::Output, fmt::format("{}: exists", destination.string()),
                      {"--force replaces it"});
    }
    if (fs::exists(status) && access(destination.c_str(), W_OK) != 0) {
        fail(destination, "cannot be written");
    }
    const fs::path found = options.make_folder ? nearest_existing(folder) : folder;
    if (!fs::is_directory(found, error)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: no folder '{}'", destination.string(), found.string()),
                      {"make it: mkdir -p " + quote_word(found.string())});
    }
    if (access(found.c_str(), W_OK | X_OK) != 0) {
        fail(destination, fmt::format("folder '{}' cannot be written", found.string()));
    }
    if (allows_adding_alone(folder)) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: folder '{}' allows only adding (chattr +a): what is "
                                  "unfinished could not be removed from it",
                                  destination.string(), folder.string()));
    }
}

void refuse_same_file(const fs::path& input, const fs::path& output, std::string_view hint) {
    std::error_code ignored;
    bool same = fs::equivalent(input, output, ignored);
    if (!same && !output.empty()) {
        // By name as well, for files that are yet to be made.
        std::error_code input_error;
        std::error_code output_error;
        same = fs::weakly_canonical(input, input_error) ==
                   fs::weakly_canonical(output, output_error) &&
               !input_error && !output_error;
    }
    if (same) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{}: input and output are the same file", output.string()),
                      {std::string(hint)});
    }
}

void sweep_beside(const fs::path& destination) {
    sweep_dead_files_in(folder_of(follow_links(destination)));
}

PendingFile::PendingFile(const fs::path& destination, const WriteOptions& options)
    : destination_(follow_links(destination)), options_(options) {
    check_destination(destination, options);
    if (options.make_folder) {
        make_folders(folder_of(destination_), notes_);
    }
    sweep_beside(destination);
    lock_.emplace(destination_);
    if (options.keep_replaced) {
        kept_ = kept_name_of(destination_);
        refuse_kept(kept_);
    }
    replaced_ = identify_file(destination_);
    if (replaced_ && !options.replace) {
        check_destination(destination, options); // another run has just made it
    }
    if (replaced_) {
        refuse_open_for_writing(destination_);
    }
    make_temporary();
}

void PendingFile::make_temporary() {
    std::string name = temporary_template(destination_);
    const SignalsHeldBack held_back;
    file_ = mkostemps(name.data(), static_cast<int>(TEMPORARY_SUFFIX.size()), O_CLOEXEC);
    if (file_ < 0) {
        fail(folder_of(destination_), "no temporary file can be made there");
    }
    temporary_ = name;
    try {
        note_ = note_pending_file(temporary_, file_);
    } catch (...) {
        unlink(name.c_str());
        close(file_);
        throw;
    }
}

void PendingFile::close_temporary() {
    forget_pending_file(note_);
    note_ = -1;
    close(file_);
}

PendingFile::PendingFile() : destination_(choose_trial_name()) {
    sweep_beside(destination_);
    lock_.emplace(destination_);
    make_temporary();
}

PendingFile::~PendingFile() {
    if (note_ < 0) {
        return;
    }
    if (is_file_of(temporary_, file_)) {
        unlink(temporary_.c_str());
    }
    close_temporary();
}

void PendingFile::begin_sync() {
    const SignalsHeldBack held_back; // in the new thread they stay so
    begun_sync_ = std::async(std::launch::async, sync_file, temporary_, file_);
}

void PendingFile::prepare() {
    if (begun_sync_.valid()) {
        begun_sync_.get(); // the system tells once that bytes were lost
    }
    take_over_rights();
    if (replaced_ && replaced_->name_count > 1) {
        notes_.push_back(
            fmt::format("{}: had {} names (hard links); the others keep the old content",
                        destination_.string(), replaced_->name_count));
    }
    sync_file(temporary_, file_);
    prepared_ = true;
}

std::vector<std::string> PendingFile::publish() {
    if (!prepared_) {
        prepare();
    }
    take_place();
    sync_folder_of(destination_, notes_);
    if (!lock_->let_go()) {
        notes_.push_back(fmt::format("{}: its lock file '{}' cannot be removed",
                                     destination_.string(), lock_->name()));
    }
    return std::move(notes_);
}

void PendingFile::take_over_rights() {
    const fs::path& like = replaced_ ? destination_ : options_.like;
    if (like.empty()) {
        restrict_rights(options_.sources, temporary_);
    } else if (const auto lost = copy_rights(like, options_.sources, temporary_); !lost.empty()) {
        notes_.push_back(fmt::format("{}: not kept: {}", destination_.string(), join_texts(lost)));
    }
}

void PendingFile::take_place() {
    if (identify_file(destination_) != replaced_) {
        throw Failure(ExitCode::Output,
                      fmt::format("{}: was changed by another program meanwhile; it is left as "
                                  "that program made it",
                                  destination_.string()));
    }
    const SignalsHeldBack held_back;
    name_to_open(temporary_); // still its own
    keep_replaced();
    if (rename_over(temporary_, destination_, options_.replace) != 0) {
        const int error = errno;
        put_back();
        fail(destination_, "cannot be replaced", error);
    }
    close_temporary();
    note_file_in_place();
    in_place_ = true;
}

// At every moment what is replaced has its own name, or that by which it is kept, or both.
void PendingFile::keep_replaced() {
    if (!options_.keep_replaced || !replaced_) {
        return;
    }
    if (!name_otherwise(destination_, kept_)) {
        fail(kept_, "cannot be made");
    }
    keeps_replaced_ = true;
}

bool PendingFile::put_back() {
    if (!keeps_replaced_) {
        return false;
    }
    if (std::rename(kept_.c_str(), destination_.c_str()) != 0) {
        unlink(destination_.c_str());
        if (link(kept_.c_str(), destination_.c_str()) != 0) {
            return false;
        }
    }
    let_go(); // of two names of one file a rename leaves both
    return true;
}

bool PendingFile::let_go() {
    const bool keeps = std::exchange(keeps_replaced_, false);
    return !keeps || unlink(kept_.c_str()) == 0;
}

bool PendingFile::take_back() {
    if (!in_place_) {
        return !keeps_replaced_;
    }
    return replaced_ ? put_back() : unlink(destination_.c_str()) == 0;
}

} // namespace talvora::host

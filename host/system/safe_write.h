// The one way in which a command makes or replaces a file.
//
// The new content is built in a temporary file in the destination's folder, which nobody else
// may read. It takes the destination's place in one step, after it was checked and has reached
// the disk; until then the destination is as it was. Whatever ends the work early, an exception,
// SIGINT, SIGTERM or a crash, takes the temporary file along. One that a killed process left
// behind is swept by the next write to the same folder.
//
// From the first line below until it is published the destination has one writer (writer_lock.h). A
// destination that another program changed meanwhile is left to it.
//
//     PendingFile pending(destination, {.replace = false});
//     build(pending.path());
//     check(pending.path());
//     pending.publish();
#pragma once

#include "host/system/file_identity.h"
#include "host/system/writer_lock.h"

#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// The name by which a destination is kept that is replaced: NAME.older.
std::filesystem::path kept_name_of(const std::filesystem::path& destination);

struct WriteOptions {
    bool replace = false;     // an existing destination
    bool make_folder = false; // of the destination, where there is none
    // What is replaced stays beside the destination (kept_name_of) until take_back or let_go. A
    // file that has this name already is neither replaced nor removed.
    bool keep_replaced = false;
    // Whose rights and attributes a new destination takes; empty: as the process makes files.
    std::filesystem::path like = {};
    // What the destination is made of: it stays shut to whom one of these is shut, also where it
    // replaces a file that is not.
    std::vector<std::filesystem::path> sources = {};
};

// Throws a Failure of the output where the destination cannot be written: it exists
// and is not to be replaced, is no regular file or read-only, or its folder is missing or
// closed.
void check_destination(const std::filesystem::path& destination, const WriteOptions& options);

// Throws a Failure of usage when both name one file, by whatever path; the hint says what to
// do instead.
void refuse_same_file(const std::filesystem::path& input, const std::filesystem::path& output,
                      std::string_view hint = "give the output a name of its own");

// Removes the temporary files that dead processes left beside it.
void sweep_beside(const std::filesystem::path& destination);

// A temporary file, removed by the destructor unless published, and by the signals of
// pending_cleanup.h.
class PendingFile {
  public:
    // Checks the destination as check_destination does, follows it where it is a
    // symbolic link, sweeps its folder, takes its lock and makes an empty temporary file.
    PendingFile(const std::filesystem::path& destination, const WriteOptions& options);
    // A file that only serves a trial: in the system's folder for such, never to be published.
    PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    // To be opened by name_to_open (pending_cleanup.h) alone: others may have put a link in its
    // place.
    const std::filesystem::path& path() const { return temporary_; }

    // Brings to the disk what the file holds now, beside what is done until it is published.
    void begin_sync();

    // Gives the file the rights of the destination it replaces, or of what the options name for
    // a new one, and syncs it. Throws a Failure of the output.
    void prepare();

    // Prepares the file unless that was done, renames it over the destination and syncs the folder.
    // Returns what people should know, a sentence each: what could not be kept. Throws a Failure of
    // the output; nothing has changed then.
    std::vector<std::string> publish();

    // Puts back what stood there before it was published: nothing, or what was kept. False where
    // that cannot be; what was kept stays under the name that it has then.
    bool take_back();

    // Removes what was kept. False where that cannot be.
    bool let_go();

    // The name by which that is found which is kept.
    const std::filesystem::path& kept() const { return kept_; }

  private:
    void make_temporary();
    void close_temporary();
    void take_over_rights();
    void take_place();
    void keep_replaced();
    bool put_back();

    std::filesystem::path destination_;
    std::filesystem::path temporary_;
    std::filesystem::path kept_; // of what is replaced, where it is kept
    WriteOptions options_;
    std::optional<WriterLock> lock_;
    std::optional<FileIdentity> replaced_; // the destination as it was when the lock was taken
    std::vector<std::string> notes_;
    std::future<void> begun_sync_;
    int file_ = -1; // the temporary one, whatever has its name
    int note_ = -1; // where the signal handlers find the path
    bool prepared_ = false;
    bool in_place_ = false;
    bool keeps_replaced_ = false;
};

} // namespace talvora::host

// The one way in which a command makes or replaces a file.
//
// The new content is built in a temporary file in the destination's folder. It takes
// the destination's place in one step, after it was checked and has reached the
// disk; until then the destination is as it was. Whatever ends the work early, an
// exception, SIGINT, SIGTERM or a crash, takes the temporary file along. One that a
// killed process left behind is swept by the next write to the same folder.
//
//     PendingFile pending(destination, {.replace = false});
//     build(pending.path());
//     check(pending.path());
//     pending.publish();
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace talvora::host {

struct WriteOptions {
    bool replace = false;     // an existing destination
    bool make_folder = false; // of the destination, where there is none
    // Whose mode and owner a new destination takes; empty: as the process makes files.
    std::filesystem::path like = {};
};

// Throws a Failure of the output where the destination cannot be written: it exists
// and is not to be replaced, is no regular file or read-only, or its folder is missing or
// closed.
void check_destination(const std::filesystem::path& destination, const WriteOptions& options);

// Throws a Failure of usage when both name one file, by whatever path; the hint says what to
// do instead.
void refuse_same_file(const std::filesystem::path& input, const std::filesystem::path& output,
                      std::string_view hint = "give the output a name of its own");

// Removes the temporary files that dead processes of this machine left beside it.
void sweep_beside(const std::filesystem::path& destination);

// A temporary file, removed by the destructor unless published, and by the signals of
// pending_cleanup.h.
class PendingFile {
  public:
    // Checks the destination as check_destination does, follows it where it is a
    // symbolic link, sweeps its folder and makes an empty temporary file.
    PendingFile(const std::filesystem::path& destination, const WriteOptions& options);
    // A file that only serves a trial: in the system's folder for such, never to be
    // published.
    PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile();

    const std::filesystem::path& path() const { return temporary_; }

    // Gives the file the mode and owner of the destination it replaces, or of what the
    // options name for a new one, syncs it, renames it over the destination
    // and syncs the folder. Throws a Failure of the output; nothing has changed then.
    void publish();

  private:
    void make(const std::filesystem::path& folder, const std::string& stem);

    std::filesystem::path destination_; // empty for a trial
    std::filesystem::path temporary_;
    WriteOptions options_;
    int note_ = -1; // where the signal handlers find the path
};

} // namespace talvora::host

// One writer per file: whoever makes or replaces a file holds its lock from before it reads
// what is to be replaced until the new content is in place.
//
// The lock is on an empty file beside the destination, .NAME.talvora-lock, which goes when the
// lock does. It holds between processes and, where the file system passes locks on, between
// machines that share the folder. What a killed process left behind is locked by nobody: the
// next one takes it over.
#pragma once

#include <filesystem>
#include <string>

namespace talvora::host {

// Where a temporary file for the destination stands: .NAME.XXXXXX.talvora-tmp beside it, with
// six random letters. It belongs to whoever holds the lock of the destination.
std::string temporary_template(const std::filesystem::path& destination);

// Whether a file has a name of that form.
bool is_temporary_name(const std::filesystem::path& file);

class WriterLock {
  public:
    // The destination's folder exists. Throws a Failure of the output when another process
    // keeps the lock (half a second is waited, for one that only sweeps), or when no file can be
    // made in the folder.
    explicit WriterLock(const std::filesystem::path& destination);
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;
    ~WriterLock();

    // False where the file system knows no locks, and once it was let go.
    bool is_held() const { return file_ >= 0; }

    const std::string& name() const { return name_; }

    // False where the lock is no more but its file stays, which the next run takes over.
    bool let_go();

  private:
    std::string name_;
    int file_ = -1;
    int note_ = -1; // where the signal handlers find the name
};

// Removes the temporary files in a folder, and the lock files, that no process holds the lock
// of: regular files of this user without a second name, named as above, locks empty. Nothing is
// removed where the file system knows no locks.
void sweep_dead_files_in(const std::filesystem::path& folder);

} // namespace talvora::host

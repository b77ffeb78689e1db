// The end of the work on a copy of a file: it takes the place of its output, and what it replaces
// is kept where that is wanted.
#pragma once

#include "host/system/content_hash.h"
#include "host/system/safe_write.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace talvora::host {

// What the result was made of, and whether that is kept as its backup (backup_of) in place.
struct ResultSource {
    std::filesystem::path input;
    ContentMark content; // of the input, as it was copied
    bool backup = false;
    bool replace_backup = false;
};

// What to do with the backup of a worker that was killed when it was in its place and the result
// not yet.
std::vector<std::string> explain_left_backup(const std::filesystem::path& input);

// Gets what people should know, a sentence each.
using TellNotes = std::function<void(const std::vector<std::string>&)>;

// Publishes the result. The backup is
// in its place before what it keeps is replaced, and stays only when it is. Throws a Failure;
// nothing has changed then.
void publish_result(PendingFile& result, const ResultSource& source, const TellNotes& tell_notes);

} // namespace talvora::host

// Files that a command makes for people, and what it says of them.
#pragma once

#include "host/cli/console.h"
#include "host/system/safe_write.h"

#include <functional>
#include <string>
#include <string_view>

namespace talvora::host {

using TextSink = std::function<void(std::string_view)>;

// Makes a file of the text that `work` sends piece by piece, or sends it to standard output
// where `output` is "-"; on a terminal, control characters in it become blanks. What people should
// know of the file is a warning.
void write_text_file(const Console& console, const std::string& output, const WriteOptions& options,
                     const std::function<void(const TextSink&)>& work);

// The file that it makes; empty for standard output.
std::string name_text_file(const std::string& output);

// Publishes the file; what people should know of it is a warning.
void publish(const Console& console, PendingFile& pending);

// Ends what the command prints, as finish_standard_output does: where standard output could not
// take it, the Failure says of files that are in their places that they are complete.
void finish_printing();

} // namespace talvora::host

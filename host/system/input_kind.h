// What kind of file a command is given to read from its beginning to its end.
#pragma once

#include <filesystem>

namespace talvora::host {

// Throws a Failure of the input for what would be waited for, or may never end: a named pipe, a
// socket, a device. Pipes that a shell makes, `<(...)` or /dev/stdin, have their writer and pass,
// and so does a terminal that is standard input. What is not there passes too, for who opens it
// to tell.
void refuse_endless_file(const std::filesystem::path& file);

} // namespace talvora::host

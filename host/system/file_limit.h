// The limit that a process may be given for the size of the files that it writes (ulimit -f).
#pragma once

#include <cstdint>
#include <optional>

namespace talvora::host {

// From here on a write beyond the limit fails as one to a full disk does, with EFBIG, and does not
// end the process. Holds for forked processes, not for programs that are started.
void outlive_file_limit();

// The limit in bytes, once a write of this process has met it.
std::optional<std::uint64_t> find_met_file_limit();

} // namespace talvora::host

// How much memory a process may take beside what it has. What asks for more is refused, and can
// tell of it: else the system would end the process, or another one.
#pragma once

#include <cstdint>

namespace talvora::host {

// A limit that the machine sets.
void limit_memory(std::uint64_t bytes);

// A limit that a user chose for what is read: what meets it is the file's doing.
void bound_memory(std::uint64_t bytes);
bool is_memory_bounded();

} // namespace talvora::host

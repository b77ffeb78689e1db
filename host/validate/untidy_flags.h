// Flags as some hosts return them: eight bits that count in a register of which the others
// hold anything.
#pragma once

#include "host/interface/interface_tables.h"

#include <array>
#include <cstdint>

namespace talvora::host {

// Puts such functions in the place of those of the table that return a flag.
void make_flags_untidy(std::int32_t table_id, std::array<void*, TABLE_SIZE>& slots);

} // namespace talvora::host

// Tables for people to read.
#pragma once

#include <string>
#include <vector>

namespace talvora::host {

// Lines with aligned columns, two blanks between them; a column of numbers is aligned
// to the right. Every row has as many cells as `numeric` has flags.
std::vector<std::string> align_columns(const std::vector<std::vector<std::string>>& rows,
                                       const std::vector<bool>& numeric);

} // namespace talvora::host

// What helps against what a unit says of the data: its message says what is wrong, and not where.
#pragma once

#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"

#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// For a message of the step's unit: the sets that it is about, with the value seen, and what
// helps. Nothing for a message that is not known. The step names no patterns any more; `source` is
// the file's name, for what is to be typed; empty: for a tree in no file no command is named.
std::vector<std::string> find_hints(const Step& step, std::string_view message, DataTree& tree,
                                    const std::string& source);

// The sets of the step without a rate above 0, with the value seen, and behind that what gives them
// one; nothing where there are none.
std::vector<std::string> find_lacking_rates(const Step& step, DataTree& tree,
                                            const std::string& source);

} // namespace talvora::host

// What the components of a set are called that columns of a table become.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace talvora::host {

struct ComponentNames {
    std::vector<std::string> labels;
    std::vector<std::string> units; // may be empty
};

// One of each per column. `units` are told by something else than the columns' names, which tell
// those that are empty.
ComponentNames name_components(const std::string& set_name, std::span<const std::string> columns,
                               std::span<const std::string> units);

} // namespace talvora::host

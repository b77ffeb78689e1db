#include "host/tree/history_attribute.h"

#include "host/text/ascii.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {

std::string name_history_part(std::size_t number) {
    return number == 1 ? HISTORY_ATTRIBUTE : fmt::format("{}_{}", HISTORY_ATTRIBUTE, number);
}

bool is_history_part(std::string_view name) {
    if (name == IMPORTS_ATTRIBUTE) {
        return true;
    }
    if (!name.starts_with(HISTORY_ATTRIBUTE)) {
        return false;
    }
    name.remove_prefix(std::string_view(HISTORY_ATTRIBUTE).size());
    return name.empty() || (name.starts_with('_') && name.size() > 1 &&
                            std::ranges::all_of(name.substr(1), is_digit));
}

} // namespace talvora::host

#include "host/interface/parameter_places.h"

namespace talvora::host {

std::optional<NamedPlace> named_place(std::string_view key) {
    const bool is_made = key.starts_with("Destination");
    if (key.ends_with("Set") || key.ends_with("Sets")) {
        return NamedPlace{ObjectKind::DataSet, is_made};
    }
    if (key.ends_with("Group") || key.ends_with("Groups")) {
        return NamedPlace{ObjectKind::Group, is_made};
    }
    return std::nullopt;
}

} // namespace talvora::host

// Which parameters of a unit name objects of the tree: their keys tell, for all units alike.
#pragma once

#include "host/tree/data_tree.h"

#include <optional>
#include <string_view>

namespace talvora::host {

// What the texts of a unit's parameter name in the tree.
struct NamedPlace {
    ObjectKind kind = ObjectKind::DataSet;
    bool is_made = false; // by the unit, when it is not there
    friend bool operator==(const NamedPlace&, const NamedPlace&) = default;
};

// Parameters of type string or list(string) name data sets when their keys end in Set or Sets,
// and groups when they end in Group or Groups; what the unit makes begins with Destination.
// Nothing for other keys.
std::optional<NamedPlace> named_place(std::string_view key);

} // namespace talvora::host

#include "host/tables/component_names.h"

#include "host/tables/column_name.h"

#include <fmt/format.h>

#include <cstddef>
#include <set>
#include <string_view>

namespace talvora::host {
namespace {

// An exported table calls the component X of the set Rate "Rate.X".
std::string_view without_set_name(std::string_view label, const std::string& set_name) {
    const std::string beginning = fmt::format("{}.", set_name);
    return label.size() > beginning.size() && label.starts_with(beginning)
               ? label.substr(beginning.size())
               : label;
}

ComponentNames split_units(const std::string& set_name, std::span<const std::string> columns,
                           std::span<const std::string> units) {
    ComponentNames names;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const ColumnName split = split_unit(columns[i]);
        const bool has_both = !split.name.empty() && split.unit && !split.unit->empty();
        names.labels.emplace_back(
            without_set_name(has_both ? split.name : std::string_view(columns[i]), set_name));
        names.units.emplace_back(has_both && units[i].empty() ? *split.unit : units[i]);
    }
    return names;
}

} // namespace

// Columns such as "Force (left)", "Force (right)" differ in what is no unit then.
ComponentNames name_components(const std::string& set_name, std::span<const std::string> columns,
                               std::span<const std::string> units) {
    ComponentNames names = split_units(set_name, columns, units);
    const std::set<std::string_view> different(names.labels.begin(), names.labels.end());
    if (different.size() < names.labels.size()) {
        return {{columns.begin(), columns.end()}, {units.begin(), units.end()}};
    }
    return names;
}

} // namespace talvora::host

#include "host/guards/guard_functions.h"
#include "host/text/quote_word.h"
#include "host/tree/netcdf_attributes.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

// Older versions of netCDF left no mark on the file.
bool is_of_netcdf(DataTree& tree, ObjectId set) {
    const auto of_root = tree.list_attributes(tree.root());
    return std::ranges::find(of_root, NETCDF_PROPERTIES_ATTRIBUTE) != of_root.end() ||
           std::ranges::any_of(tree.list_attributes(set), numbers_netcdf_dimensions);
}

// 0 for a single value, and for texts, which netCDF reads in any number of dimensions.
std::size_t count_number_dimensions(const AttributeValue& value) {
    if (const auto* integers = std::get_if<IntegerArray>(&value)) {
        return integers->extents.size();
    }
    const auto* numbers = std::get_if<NumberArray>(&value);
    return numbers != nullptr ? numbers->extents.size() : 0;
}

GuardFinding make_finding(const std::string& set, const std::string& name,
                          std::size_t dimension_count) {
    return {.set = set,
            .text = fmt::format("its attribute '{}' has {} dimensions, and the file is netCDF: "
                                "programs of netCDF open none with such an attribute of numbers",
                                name, dimension_count),
            .remedy = fmt::format("accept it and take it out of the result, or read that as HDF5 "
                                  "alone: talvora-host attributes {} --remove {}",
                                  quote_word("FILE.h5::" + set), quote_word(name)),
            .numbers = {{"attribute", name}, {"dimensions", dimension_count}}};
}

} // namespace

std::vector<GuardFinding> find_netcdf_attributes(const GuardedStep& step) {
    std::vector<GuardFinding> found;
    for (const auto& [path, names] : step.done->attributes) {
        const auto object = step.tree.find(step.tree.root(), path);
        if (!object || step.tree.kind(*object) != ObjectKind::DataSet ||
            !is_of_netcdf(step.tree, *object)) {
            continue;
        }
        for (const std::string& name : names) {
            const auto value = step.tree.read_attribute(*object, name);
            const std::size_t count = value ? count_number_dimensions(*value) : 0;
            if (count > 1) {
                found.push_back(make_finding(path, name, count));
            }
        }
    }
    return found;
}

} // namespace talvora::host

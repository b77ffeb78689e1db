// Attributes in which the netCDF library keeps its own accounts in an HDF5 file.
#pragma once

#include <algorithm>
#include <string_view>

namespace talvora::host {

// Of the root group: which version of the library made the file.
constexpr std::string_view NETCDF_PROPERTIES_ATTRIBUTE = "_NCProperties";

// Of a data set: the numbers of its dimensions, which are those of no other set.
constexpr std::string_view NETCDF_DIMENSION_ATTRIBUTES[] = {"_Netcdf4Coordinates", "_Netcdf4Dimid"};

inline bool numbers_netcdf_dimensions(std::string_view attribute) {
    return std::ranges::find(NETCDF_DIMENSION_ATTRIBUTES, attribute) !=
           std::end(NETCDF_DIMENSION_ATTRIBUTES);
}

} // namespace talvora::host

// Data sets of an HDF5 file of another program as sets of ours, by a map.
#pragma once

#include "host/maps/set_plan.h"

#include <cstdint>
#include <string>
#include <vector>

namespace talvora::host {

struct MappedSet {
    std::string path; // in the result
    std::uint64_t sample_count = 0;
    double sample_rate = 0;
};

struct MappedReport {
    std::vector<std::string> infos; // what was taken, left and rounded
    std::vector<std::string> warnings;
    std::vector<MappedSet> sets;
};

// Writes each data set that the map names into `result`, as [components, 1, samples] with the
// attributes of imported tables (host/tables/signal_attributes.h). A sample becomes
// sample * scale + offset, in doubles, rounded once; 64-bit integers become doubles for that. Rows
// with times are placed on a grid as those of tables are (host/tables/row_placement.h). The samples
// go through memory in pieces, the times of a set do not.
//
// Throws a Failure of the input, `file` in front, for what plan_import refuses, times that cannot
// be placed and samples that no 32-bit float can hold.
MappedReport import_mapped(Hdf5Tree& source, const ImportMap& map, const MapChoices& choices,
                           DataTree& result, const std::string& file);

} // namespace talvora::host

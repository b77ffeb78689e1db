// Data sets from the columns of a table.
#pragma once

#include "host/tables/number_table.h"
#include "host/tables/set_of_columns.h"
#include "host/tables/time_grid.h"
#include "host/tree/data_tree.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

struct ImportOptions {
    std::string group = "Signals"; // where the sets go, a path from the root
    // Empty: every column with numbers but the time becomes a set named after it.
    std::vector<SetOfColumns> sets;
    // Rows are equally spaced, 0 s first; with a placement, the rate of the grid.
    std::optional<double> sample_rate;
    // Rows are placed by their times; empty: no column is one.
    std::optional<std::string> time_column;
    Placement placement = Placement::Steps; // how (time_grid.h)
    double max_gap_samples = 1.5;
};

struct ImportReport {
    std::vector<std::string> infos;
    std::vector<std::string> warnings;
    std::vector<std::string> sets; // paths from the root
    std::uint64_t sample_count = 0;
    double sample_rate = 0;
};

// Writes the table into the tree: sets of shape [components, 1, samples] with the
// attributes SampleRate and StartTime (s), in a group with SampleRate and NumSamples. StartTime is
// a double, which tells a time of day since 1970 to the microsecond; the others are floats.
//
// What the columns are called is kept in the sets' attributes Labels and Unit (line_names.h):
// "Force X (N)" becomes the label "Force X" and the unit "N", unless labels would be alike then.
// A set of one column that is called like it has no labels.
//
// Beside a sample rate a column that is named as a time tells StartTime, and may not contradict the
// rate. With neither a sample rate nor a time column, the first column that is named as a time
// (time_column.h) is taken as it. Rows are placed on a uniform
// grid (time_grid.h); samples without a row are NaN. Of rows that share a sample the
// first one stays. Placed by steps, no row stands more than half a sample from its time, and no
// more than one in a hundred is left out.
//
// Throws a Failure of usage for a column, rate or name that cannot be, of the input
// for times that cannot be placed or that contradict the rate, and for columns without any number.
ImportReport import_table(const NumberTable& table, const ImportOptions& options, DataTree& tree,
                          const std::string& source);

} // namespace talvora::host

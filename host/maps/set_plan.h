// What becomes of the data sets of a file by a map: which are taken, and with what is known of
// them. No sample is read for that.
#pragma once

#include "host/maps/import_map.h"
#include "host/maps/source_values.h"
#include "host/tables/time_grid.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvora::host {

// What the command line adds to a map.
struct MapChoices {
    std::string group = "Signals"; // where the sets go, a path from the root; empty: there
    std::string glob;              // only data sets with such a path, or below one; empty: all
    // Rows are equally spaced, which the file may not contradict; with a placement, the rate of
    // the grid.
    std::optional<double> sample_rate;
    Placement placement = Placement::Steps;
    double max_gap_samples = 1.5;
};

// Samples as they are stored become sample * scale + offset: one of each for all components, or one
// for each of them.
struct Calibration {
    std::vector<double> scale;
    std::vector<double> offset;

    double scale_of(std::uint64_t component) const;
    double offset_of(std::uint64_t component) const;
};

// A data set that is taken.
struct SetPlan {
    ObjectId id{};
    std::string path;   // in the file that is imported
    std::string result; // from the root of the result
    SampleType type{};
    Extents extents;
    std::size_t time_dimension = 0;
    std::optional<std::size_t> component_dimension; // nothing for a single component
    std::uint64_t row_count = 0;
    std::uint64_t component_count = 1;
    Calibration calibration;
    std::optional<FoundPlace> times; // of its rows; else they have this rate
    double sample_rate = 0;
    std::optional<FoundPlace> times_beside; // that rate is not to contradict
    // What the file tells of it where the rate is told on the command line.
    std::optional<FoundPlace> own_times;
    std::optional<FoundPlace> own_rate;
    double start_time = 0;
    std::vector<std::string> units;
    std::vector<std::string> labels;
    std::vector<std::string> notes; // what people should know of it
};

struct ImportPlan {
    std::vector<SetPlan> sets;
    std::vector<std::string> infos; // what is left of the file, and why
    std::vector<std::string> warnings;
};

// The map has to outlive the plan. Throws a Failure of the input, `file` in front, where nothing is
// taken, for values that cannot be, a calibration that is not linear, two sets of one name, a told
// rate that the file's own or its times contradict, and shapes that contradict the dimension of
// time of a plain array or a shipped map.
ImportPlan plan_import(Hdf5Tree& source, const ImportMap& map, const MapChoices& choices,
                       const std::string& file);

} // namespace talvora::host

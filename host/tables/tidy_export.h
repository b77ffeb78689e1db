// Data sets of any shape as one table with a row for each sample, as statistics programs like it.
//
// Its columns: file; set, the path; component, the label of the component or its index, with the
// indices of further dimensions behind it ("X/1", "0/1"), empty for the only one; label, of the
// column where a set has labels of columns (line_names.h), as average-set-2 writes them; unit;
// sample, counted from 0; time in seconds, empty where the rate is unknown; value, empty where it
// is missing. Numbers are the shortest text that reads back as the same number.
#pragma once

#include "host/tables/csv_export.h"
#include "host/tree/signal_set.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace talvora::host {

// With its line end.
std::string_view tidy_names();

// Writes the rows of one set piece by piece; returns how many.
std::uint64_t write_tidy_rows(const std::string& file, const SignalSet& set,
                              const std::function<void(std::string_view)>& write,
                              const ExportOptions& options = {});

} // namespace talvora::host

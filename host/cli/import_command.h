// What an import of a table and one of an HDF5 file share: the words of the command, and the way to
// its file.
#pragma once

#include "host/cli/session.h"
#include "host/recipes/import_history.h"
#include "host/runs/exceptions.h"
#include "host/system/safe_write.h"
#include "host/tables/csv_layout.h"
#include "host/tables/table_import.h"

#include <fmt/format.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace talvora::host {

struct ImportCommand {
    std::string input;
    std::string output;
    ImportOptions options;
    std::vector<std::string> sets;
    std::optional<std::string> grid;
    std::optional<double> max_gap;
    CsvChoice csv;
    std::optional<std::int64_t> names_row;
    std::vector<std::string> missing; // numbers
    std::optional<std::string> map;
    std::vector<std::string> variables; // of the map
    std::optional<std::int64_t> time_axis;
    bool append = false;
    bool force = false;
    bool dry_run = false;
};

// Options as words, each as the command line takes it.
class OptionWords {
  public:
    template <typename Value>
    void add(const char* option, const std::optional<Value>& value) {
        if (value) {
            words_.insert(words_.end(), {option, fmt::format("{}", *value)});
        }
    }
    void add(const char* option, const std::string& value) {
        words_.insert(words_.end(), {option, value});
    }
    void add_all(const char* option, std::span<const std::string> values) {
        for (const std::string& value : values) {
            add(option, value);
        }
    }
    void add_flag(const char* option, bool is_set) {
        if (is_set) {
            words_.emplace_back(option);
        }
    }
    std::vector<std::string> take() { return std::move(words_); }

  private:
    std::vector<std::string> words_;
};

// Before anything is read of the inputs, how the output is to be written.
WriteOptions check_import_files(const ImportCommand& command,
                                const std::vector<std::filesystem::path>& inputs);

// Makes the file in the pending place, or adds to a copy of it: `import` writes the data sets and
// gives the record of that, which is kept with them. All is checked then.
void build_import(const ImportCommand& command, const WorkPlace& place, PendingFile& pending,
                  const std::function<HistoryRecord(DataTree& tree)>& import);

// What it tells of tables and of mapped files.
template <typename Report>
void print_import_report(const Report& report, const Console& console) {
    for (const std::string& warning : report.warnings) {
        console.warning(warning);
    }
    for (const std::string& info : report.infos) {
        console.info(info);
    }
}

// An import by --map or --time-axis. Its input is read in a process of its own.
void import_mapped_file(Session& session, const ImportCommand& command);

} // namespace talvora::host

// What tables and files of other programs a file was imported from, kept in it beside the history
// of its runs: a record per import, in an attribute of the root group
// (host/tree/history_attribute.h). A record is a JSON document:
//
//     host           name, version
//     input          name without folders, with the pattern behind it where there was one; size,
//                    sha256: of the file as it was read
//     arguments      the options of the import, as words of its command line
//     map            name without folders, size, sha256 of the file that --map named, where it did
//
// Without a time: the same table and options give the same bytes.
#pragma once

#include "host/recipes/run_history.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

HistoryRecord make_import_record(const std::string& host_version, const InputIdentity& input,
                                 std::span<const std::string> arguments,
                                 const std::optional<InputIdentity>& map = {});

// Throws a Failure of the input when the attribute holds something else.
void append_import(DataTree& tree, const HistoryRecord& record);

// Oldest first; empty for a file that was not imported. Throws a Failure of the input, `source` in
// front, when the attribute holds something else.
std::vector<HistoryRecord> read_imports(DataTree& tree, std::string_view source = {});

// For people, on one line each: "walk.csv, 60 bytes, sha256 ...", and the command that imports it
// again into FILE.h5. Of records that were read or made here.
std::string describe_import_input(const HistoryRecord& record);
std::string describe_import_command(const HistoryRecord& record);

} // namespace talvora::host

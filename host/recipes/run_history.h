// What was done to a file, kept in the file: one record per step that was run, in attributes of
// the root group (host/tree/history_attribute.h). A record is a JSON document:
//
//     time           UTC, ISO 8601; from SOURCE_DATE_EPOCH where that is set
//     host           name, version: of the program, or of the library, that ran the step
//     plugin         name, version, sha256 of the library
//     input          name without folders, size, sha256: of the command's input file, or of the
//                    one that a tree in memory was read from; null where there was none
//     step           name; unique in its run
//     step_number    from 1 to
//     step_count     steps of the run
//     unit           identifier
//     unit_version   null when the unit tells none
//     parameters     every one that the unit declares, defaults filled in; null without a
//                    value; a number that JSON does not know as a text: "nan", "inf", "-inf"
//     edges          in Hz, to_rate in Hz, set_by_set: the aims of the step (recipe.h), those that
//                    there are
//     found          values that were found for the file by its aims, where there are any: set
//                    (null for the step as a whole, whose parameters hold them, too), parameters
//     sets           of which samples were read or changed: path, read, written,
//                    before (null for a new one) and after with shape, rate, missing and
//                    gaps, and gaps_filled (null where the shape changed)
//     attributes     names of the attributes written, by the path of their object
//     filters        of the Butterworth unit alone: what its filter does at each rate, as
//                    sample_rate, pass_order, corrected_edges, suggested_edges,
//                    three_db_points (frequencies in Hz), usable and summary (a sentence)
//     guards         that spoke and were accepted, where there are any: name, step, set (null for
//                    the step as a whole), text, numbers (those in the text, by name), accepted
//
// The same input, steps, programs and time give the same bytes.
#pragma once

#include "host/recipes/recipe.h"
#include "host/system/content_hash.h"
#include "host/tree/observed_tree.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

using HistoryRecord = nlohmann::ordered_json;

struct InputIdentity {
    std::string name; // without folders
    std::uint64_t size = 0;
    std::string sha256;
    ContentMark mark = {}; // of the same bytes; not kept
};

struct PluginIdentity {
    std::string name;
    std::string version;
    std::string sha256;
};

// Where a run comes from: the same for each of its steps.
struct RunOrigin {
    std::string time;
    std::string host_version;
    PluginIdentity plugin;
    std::optional<InputIdentity> input = {}; // nothing for a tree in memory that came from no file
    std::string host_name = "talvora-host";
};

// Now, or the second that SOURCE_DATE_EPOCH gives: "2026-11-21T09:30:00Z". Throws a Failure
// of usage when that is no count of seconds.
std::string make_timestamp();

// Values that the aims of a step found for the file.
struct FoundParameters {
    std::string set; // that they are for; empty: for the step as a whole
    ParameterValues::Given values;
};

PluginIdentity identify_plugin(const PluginLibrary& plugin);
// Reads the file through.
InputIdentity identify_input(const std::filesystem::path& file);

// As "sets" of a record.
nlohmann::ordered_json make_sets_json(std::span<const SetObservation> sets);

// `filters` and `guards` as the members of these names; an empty document leaves one out.
HistoryRecord make_record(const RunOrigin& origin, const Recipe& recipe, std::size_t step_index,
                          const StepObservations& observations,
                          const nlohmann::ordered_json& filters,
                          const nlohmann::ordered_json& guards = {},
                          std::span<const FoundParameters> found = {});

// The record that a text of such an attribute holds. Throws a Failure of the input, `source` in
// front, for another text.
HistoryRecord parse_record(const std::string& text, std::string_view source);

// Oldest first; empty for a file without a history. Throw a Failure of the input, `source` in
// front, when one of the attributes holds something else.
std::vector<HistoryRecord> read_history(DataTree& tree, std::string_view source = {});
void append_history(DataTree& tree, std::span<const HistoryRecord> records,
                    std::string_view source = {});

// The records of the last run.
std::span<const HistoryRecord> last_run(std::span<const HistoryRecord> history);

// True when the last run came from the same steps, plug-in and input content, and no guard spoke
// in it that the steps do not accept.
bool was_made_by(std::span<const HistoryRecord> history, const RunOrigin& origin,
                 const Recipe& recipe);

// The steps of the records, each accepting the guards that spoke in it. Throws a Failure of the
// plug-in when it lacks a unit, or a unit a parameter, that they name.
Recipe extract_recipe(std::span<const HistoryRecord> records, const PluginLibrary& plugin);

} // namespace talvora::host

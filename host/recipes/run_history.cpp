#include "host/recipes/run_history.h"

#include "host/interface/unit_run.h"
#include "host/recipes/json_text.h"
#include "host/system/content_hash.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/parse_number.h"
#include "host/tree/history_attribute.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <map>
#include <set>
#include <string_view>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

// The last second of the year 9999.
constexpr std::int64_t LAST_SECOND = 253'402'300'799;

// In files of older formats an attribute has at most 64 KiB. Each text takes 16 bytes of it, for it
// stands elsewhere itself; what is left is room for name and type.
constexpr std::size_t MAX_PART_RECORDS = 4000;

std::time_t parse_epoch(std::string_view text) {
    const auto seconds = parse_number<std::int64_t>(text);
    if (!seconds || *seconds < 0 || *seconds > LAST_SECOND) {
        throw Failure(ExitCode::Usage,
                      fmt::format("SOURCE_DATE_EPOCH is '{}' (allowed: seconds since 1970)", text));
    }
    return *seconds;
}

// ---------------------------------------------------------------------------
// Writing

struct ValueJson {
    Json operator()(double value) const {
        return std::isfinite(value) ? Json(value) : Json(fmt::format("{}", value));
    }
    template <typename Value>
    Json operator()(const Value& value) const {
        return value;
    }
};

Json make_parameters_json(const ParameterValues& values) {
    Json json = Json::object();
    for (const ParameterSignature& signature : values.signatures()) {
        const ParameterValue* value = values.find(signature.key);
        json[signature.key] = value != nullptr ? std::visit(ValueJson{}, *value) : Json(nullptr);
    }
    return json;
}

constexpr const char* AIM_KEYS[] = {"edges", "to_rate", "set_by_set"};

// Those that there are.
Json make_aims_json(const StepAims& aims) {
    Json json = Json::object();
    if (!aims.edges.empty()) {
        json["edges"] = aims.edges;
    }
    if (aims.to_rate) {
        json["to_rate"] = *aims.to_rate;
    }
    if (aims.set_by_set) {
        json["set_by_set"] = true;
    }
    return json;
}

Json make_given_json(const ParameterValues::Given& given) {
    Json json = Json::object();
    for (const auto& [key, value] : given) {
        json[key] = std::visit(ValueJson{}, value);
    }
    return json;
}

Json make_found_json(std::span<const FoundParameters> found) {
    Json list = Json::array();
    for (const auto& [set, values] : found) {
        list.push_back({{"set", set.empty() ? Json(nullptr) : Json(set)},
                        {"parameters", make_given_json(values)}});
    }
    return list;
}

// With the values that were found for the step as a whole.
Json make_parameters_json(const ParameterValues& values, std::span<const FoundParameters> found) {
    Json json = make_parameters_json(values);
    for (const FoundParameters& one : found) {
        if (one.set.empty()) {
            json.update(make_given_json(one.values));
        }
    }
    return json;
}

void write_part(DataTree& tree, std::size_t number, std::vector<std::string> texts) {
    const Extents extents = {texts.size()};
    tree.write_attribute(tree.root(), name_history_part(number),
                         TextArray{std::move(texts), extents});
}

Json make_input_json(const std::optional<InputIdentity>& input) {
    return input ? Json{{"name", input->name}, {"size", input->size}, {"sha256", input->sha256}}
                 : Json(nullptr);
}

Json make_state_json(const SetState& state) {
    return {{"shape", state.extents},
            {"rate", value_or_null(state.sample_rate)},
            {"missing", state.missing_count},
            {"gaps", state.gap_count}};
}

// ---------------------------------------------------------------------------
// Reading

// Far deeper than records are. Whatever goes through JSON calls itself for each level.
constexpr int MAX_RECORD_DEPTH = 100;

// `source` is the file, where it is known.
[[noreturn]] void refuse_history(std::string_view reason, std::string_view source = "") {
    throw Failure(
        ExitCode::Input,
        begin_with(source, fmt::format("the history in the file cannot be read: {}", reason)));
}

// The texts of one part, where there is such a part.
std::optional<std::vector<std::string>> find_part(DataTree& tree, std::size_t number,
                                                  std::string_view source) {
    const std::string name = name_history_part(number);
    auto value = tree.read_attribute(tree.root(), name);
    if (!value) {
        return std::nullopt;
    }
    auto* texts = std::get_if<TextArray>(&*value);
    if (texts == nullptr) {
        refuse_history(fmt::format("the attribute '{}' is no list of texts", name), source);
    }
    return std::move(texts->values);
}

// The first one where there is none yet.
std::size_t find_last_part(DataTree& tree) {
    std::size_t number = 1;
    while (tree.read_attribute(tree.root(), name_history_part(number + 1))) {
        ++number;
    }
    return number;
}

} // namespace

HistoryRecord parse_record(const std::string& text, std::string_view source) {
    const auto check_depth = [&](int depth, Json::parse_event_t, const Json&) {
        if (depth > MAX_RECORD_DEPTH) {
            refuse_history(fmt::format("a record is nested more than {} deep", MAX_RECORD_DEPTH),
                           source);
        }
        return true;
    };
    try {
        return Json::parse(text, check_depth);
    } catch (const Json::exception& error) {
        refuse_history(error.what(), source);
    }
}

namespace {

// A history may have been written by anything.
const Json& member(const HistoryRecord& record, const char* name) {
    const auto found = record.find(name);
    if (found == record.end()) {
        refuse_history(fmt::format("a record lacks '{}'", name));
    }
    return *found;
}

template <typename Value>
Value value_of(const HistoryRecord& record, const char* name) {
    try {
        return member(record, name).get<Value>();
    } catch (const Json::exception& error) {
        refuse_history(fmt::format("'{}': {}", name, error.what()));
    }
}

// Infinite ones and NaN stand there as texts.
double read_number(const Json& json) {
    if (!json.is_string()) {
        return json.get<double>();
    }
    const auto text = json.get<std::string>();
    const auto value = read_value(ParameterType::Number, text);
    return value ? std::get<double>(*value)
                 : throw Failure(ExitCode::Input,
                                 fmt::format("'{}' in the history is no number", text));
}

ParameterValue read_parameter(ParameterType type, const Json& json) {
    switch (type) {
    case ParameterType::String:
        return json.get<std::string>();
    case ParameterType::Boolean:
        return json.get<bool>();
    case ParameterType::Integer:
        return json.get<std::int64_t>();
    case ParameterType::Number:
        return read_number(json);
    case ParameterType::StringList:
        return json.get<std::vector<std::string>>();
    case ParameterType::IntegerList:
        return json.get<std::vector<std::int64_t>>();
    }
    throw std::logic_error("a parameter type without a way to read it");
}

// Each once, in the order in which they spoke.
std::vector<std::string> read_accepted(const HistoryRecord& record) {
    std::vector<std::string> names;
    for (const Json& guard : record.value("guards", Json::array())) {
        auto name = value_of<std::string>(guard, "name");
        if (std::ranges::find(names, name) == names.end()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

// The keys of parameters whose values were found.
std::set<std::string> read_found_keys(const HistoryRecord& record) {
    std::set<std::string> keys;
    for (const Json& one : record.value("found", Json::array())) {
        for (const auto& [key, value] : member(one, "parameters").items()) {
            keys.insert(key);
        }
    }
    return keys;
}

Json read_aims_json(const HistoryRecord& record) {
    Json aims = Json::object();
    for (const char* key : AIM_KEYS) {
        if (record.contains(key)) {
            aims[key] = record[key];
        }
    }
    return aims;
}

StepAims read_aims(const HistoryRecord& record) {
    const Json aims = read_aims_json(record);
    StepAims read;
    if (aims.contains("edges")) {
        read.edges = value_of<std::vector<double>>(aims, "edges");
    }
    if (aims.contains("to_rate")) {
        read.to_rate = value_of<double>(aims, "to_rate");
    }
    read.set_by_set = aims.contains("set_by_set") && value_of<bool>(aims, "set_by_set");
    return read;
}

// By its content: a file may have been renamed.
bool has_input(const HistoryRecord& record, const std::optional<InputIdentity>& input) {
    const Json& told = member(record, "input");
    return input && !told.is_null() && member(told, "sha256") == input->sha256;
}

// Whether the parameters of the record are those of the step, but for what was found.
bool has_parameters_of(const HistoryRecord& record, const Step& step) {
    Json expected = make_parameters_json(step.values);
    Json parameters = member(record, "parameters");
    for (const std::string& key : read_found_keys(record)) {
        expected.erase(key);
        parameters.erase(key);
    }
    return parameters == expected;
}

ParameterValues read_values(const Unit& unit, const HistoryRecord& record) {
    const std::vector<ParameterSignature> signatures = declare_unit(unit);
    ParameterValues::Given given;
    const std::set<std::string> found = read_found_keys(record);
    for (const auto& [key, value] : member(record, "parameters").items()) {
        const auto signature = std::ranges::find(signatures, key, &ParameterSignature::key);
        if (signature == signatures.end()) {
            throw Failure(ExitCode::Plugin, fmt::format("the plug-in's unit '{}' has no parameter "
                                                        "'{}', which the history names",
                                                        unit.name, key));
        }
        if (!value.is_null() && !found.contains(key)) {
            try {
                given.emplace(key, read_parameter(signature->type, value));
            } catch (const Json::exception& error) {
                refuse_history(fmt::format("the value of '{}': {}", key, error.what()));
            }
        }
    }
    return {signatures, std::move(given)};
}

Step extract_step(const HistoryRecord& record, const PluginLibrary& plugin) {
    const auto unit_name = value_of<std::string>(record, "unit");
    const Unit* unit = plugin.find_unit(unit_name);
    if (unit == nullptr) {
        throw Failure(
            ExitCode::Plugin,
            fmt::format("the plug-in has no unit '{}', which the history names", unit_name));
    }
    return {value_of<std::string>(record, "step"), unit, read_values(*unit, record),
            read_accepted(record), read_aims(record)};
}

// Steps of several runs may be called the same.
void make_names_unique(std::vector<Step>& steps) {
    std::set<std::string> taken;
    std::map<std::string, int> last_numbers; // thousands of steps may be called the same
    for (Step& step : steps) {
        const std::string name = step.name;
        int& number = last_numbers.try_emplace(name, 1).first->second;
        while (!taken.insert(step.name).second) {
            step.name = fmt::format("{}-{}", name, ++number);
        }
    }
}

} // namespace

// ---------------------------------------------------------------------------

std::string make_timestamp() {
    const char* epoch = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now =
        epoch != nullptr && *epoch != '\0' ? parse_epoch(epoch) : std::time(nullptr);
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(now));
}

PluginIdentity identify_plugin(const PluginLibrary& plugin) {
    return {plugin.info().name, plugin.info().version, hash_file(plugin.file()).sha256};
}

InputIdentity identify_input(const std::filesystem::path& file) {
    const HashedContent content = hash_file(file);
    return {file.filename().string(), content.byte_count, content.sha256, content.mark};
}

Json make_sets_json(std::span<const SetObservation> sets) {
    Json list = Json::array();
    for (const SetObservation& set : sets) {
        list.push_back({{"path", set.path},
                        {"read", set.read},
                        {"written", set.written},
                        {"before", set.before ? make_state_json(*set.before) : Json(nullptr)},
                        {"after", make_state_json(set.after)},
                        {"gaps_filled", value_or_null(set.filled_gap_count)}});
    }
    return list;
}

HistoryRecord make_record(const RunOrigin& origin, const Recipe& recipe, std::size_t step_index,
                          const StepObservations& observations, const Json& filters,
                          const Json& guards, std::span<const FoundParameters> found) {
    const Step& step = recipe.steps[step_index];
    const PluginIdentity& plugin = origin.plugin;
    HistoryRecord record = {
        {"time", origin.time},
        {"host", {{"name", origin.host_name}, {"version", origin.host_version}}},
        {"plugin", {{"name", plugin.name}, {"version", plugin.version}, {"sha256", plugin.sha256}}},
        {"input", make_input_json(origin.input)},
        {"step", step.name},
        {"step_number", step_index + 1},
        {"step_count", recipe.steps.size()},
        {"unit", step.unit->name},
        {"unit_version", value_or_null(step.unit->version)},
        {"parameters", make_parameters_json(step.values, found)}};
    record.update(make_aims_json(step.aims));
    if (!found.empty()) {
        record["found"] = make_found_json(found);
    }
    record["sets"] = make_sets_json(observations.sets);
    record["attributes"] = observations.attributes;
    if (!filters.empty()) {
        record["filters"] = filters;
    }
    if (!guards.empty()) {
        record["guards"] = guards;
    }
    return record;
}

std::vector<HistoryRecord> read_history(DataTree& tree, std::string_view source) {
    std::vector<HistoryRecord> records;
    for (std::size_t part = 1; const auto texts = find_part(tree, part, source); ++part) {
        for (const std::string& text : *texts) {
            records.push_back(parse_record(text, source));
        }
    }
    return records;
}

void append_history(DataTree& tree, std::span<const HistoryRecord> records,
                    std::string_view source) {
    for (std::size_t part = find_last_part(tree); !records.empty(); ++part) {
        auto texts = find_part(tree, part, source).value_or(std::vector<std::string>());
        const std::size_t room = MAX_PART_RECORDS - std::min(MAX_PART_RECORDS, texts.size());
        const auto fitting = records.first(std::min(room, records.size()));
        if (!fitting.empty()) {
            std::ranges::transform(fitting, std::back_inserter(texts),
                                   [](const HistoryRecord& record) { return format_json(record); });
            write_part(tree, part, std::move(texts));
        }
        records = records.subspan(fitting.size());
    }
}

std::span<const HistoryRecord> last_run(std::span<const HistoryRecord> history) {
    if (history.empty()) {
        return history;
    }
    const auto count = value_of<std::size_t>(history.back(), "step_count");
    return history.last(std::min(count, history.size()));
}

bool was_made_by(std::span<const HistoryRecord> history, const RunOrigin& origin,
                 const Recipe& recipe) {
    const auto records = last_run(history);
    const auto is_same = [&](const HistoryRecord& record, const Step& step) {
        return has_input(record, origin.input) &&
               member(member(record, "plugin"), "sha256") == origin.plugin.sha256 &&
               std::ranges::all_of(
                   read_accepted(record),
                   [&](const std::string& guard) { return accepts_guard(step, guard); }) &&
               member(record, "step") == step.name && member(record, "unit") == step.unit->name &&
               has_parameters_of(record, step) &&
               read_aims_json(record) == make_aims_json(step.aims);
    };
    return std::ranges::equal(records, recipe.steps, is_same);
}

Recipe extract_recipe(std::span<const HistoryRecord> records, const PluginLibrary& plugin) {
    Recipe recipe;
    for (const HistoryRecord& record : records) {
        recipe.steps.push_back(extract_step(record, plugin));
    }
    make_names_unique(recipe.steps);
    return recipe;
}

} // namespace talvora::host

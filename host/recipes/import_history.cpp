#include "host/recipes/import_history.h"

#include "host/recipes/json_text.h"
#include "host/text/control_characters.h"
#include "host/text/failure.h"
#include "host/text/quote_word.h"
#include "host/tree/history_attribute.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

Failure explain(std::string_view reason, std::string_view source) {
    return {ExitCode::Input, fmt::format("{}{}the imports of the file cannot be read: {}", source,
                                         source.empty() ? "" : ": ", reason)};
}

std::vector<std::string> read_texts(DataTree& tree, std::string_view source) {
    auto value = tree.read_attribute(tree.root(), IMPORTS_ATTRIBUTE);
    if (!value) {
        return {};
    }
    auto* texts = std::get_if<TextArray>(&*value);
    if (texts == nullptr) {
        throw explain(fmt::format("the attribute '{}' is no list of texts", IMPORTS_ATTRIBUTE),
                      source);
    }
    return std::move(texts->values);
}

Json make_file_json(const InputIdentity& file) {
    return {{"name", file.name}, {"size", file.size}, {"sha256", file.sha256}};
}

template <typename Value>
Value value_at(const HistoryRecord& record, const char* path) {
    return record.at(HistoryRecord::json_pointer(path)).get<Value>();
}

// A record may have been written by anything: it is one when all can be told of it.
HistoryRecord read_record(const std::string& text, std::string_view source) {
    HistoryRecord record = parse_record(text, source);
    try {
        describe_import_input(record);
        describe_import_command(record);
    } catch (const Json::exception& error) {
        throw explain(error.what(), source);
    }
    return record;
}

} // namespace

HistoryRecord make_import_record(const std::string& host_version, const InputIdentity& input,
                                 std::span<const std::string> arguments,
                                 const std::optional<InputIdentity>& map) {
    std::ranges::for_each(arguments, refuse_invalid_utf8);
    HistoryRecord record = {{"host", {{"name", "talvora-host"}, {"version", host_version}}},
                            {"input", make_file_json(input)},
                            {"arguments", arguments}};
    if (map) {
        record["map"] = make_file_json(*map);
    }
    return record;
}

void append_import(DataTree& tree, const HistoryRecord& record) {
    std::vector<std::string> texts = read_texts(tree, {});
    texts.push_back(format_json(record));
    const Extents extents = {texts.size()};
    tree.write_attribute(tree.root(), IMPORTS_ATTRIBUTE, TextArray{std::move(texts), extents});
}

std::vector<HistoryRecord> read_imports(DataTree& tree, std::string_view source) {
    std::vector<HistoryRecord> records;
    for (const std::string& text : read_texts(tree, source)) {
        records.push_back(read_record(text, source));
    }
    return records;
}

std::string describe_import_input(const HistoryRecord& record) {
    return blank_controls(fmt::format("{}, {} bytes, sha256 {}",
                                      value_at<std::string>(record, "/input/name"),
                                      value_at<std::uint64_t>(record, "/input/size"),
                                      value_at<std::string>(record, "/input/sha256")),
                          "");
}

std::string describe_import_command(const HistoryRecord& record) {
    std::string command = fmt::format("talvora-host import {} -o FILE.h5",
                                      quote_word(value_at<std::string>(record, "/input/name")));
    for (const auto& word : value_at<std::vector<std::string>>(record, "/arguments")) {
        command += " " + quote_word(word);
    }
    return blank_controls(command, "");
}

} // namespace talvora::host

#include "host/interface/parameters.h"

#include "host/text/ascii.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/parse_number.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <set>
#include <utility>

namespace talvora::host {

namespace {

struct TypeRow {
    ParameterType type;
    std::string_view name;
    std::string_view allowed;
};

constexpr std::array TYPES = {
    TypeRow{ParameterType::String, "string", "a text"},
    TypeRow{ParameterType::Boolean, "boolean", "true or false"},
    TypeRow{ParameterType::Integer, "integer", "a whole number of 64 bits"},
    TypeRow{ParameterType::Number, "number", "a number such as 0.5 or 1e3"},
    TypeRow{ParameterType::StringList, "list(string)", "a text"},
    TypeRow{ParameterType::IntegerList, "list(integer)", "a whole number of 64 bits"},
};

const TypeRow& row_of(ParameterType type) {
    return *std::ranges::find(TYPES, type, &TypeRow::type);
}

std::string describe_types() {
    std::vector<std::string> names;
    names.reserve(std::size(TYPES));
    for (const TypeRow& row : TYPES) {
        names.emplace_back(row.name);
    }
    return join_texts(names);
}

bool is_key_letter(char c) {
    return is_letter(c) || is_digit(c) || c == '_';
}

template <typename Item>
bool append_list(ParameterValue& list, const ParameterValue& more) {
    auto* items = std::get_if<std::vector<Item>>(&list);
    const auto* added = std::get_if<std::vector<Item>>(&more);
    if (items == nullptr || added == nullptr) {
        return false;
    }
    items->insert(items->end(), added->begin(), added->end());
    return true;
}

std::string format_item(const std::string& text) {
    return fmt::format("\"{}\"", text);
}
std::string format_item(bool flag) {
    return flag ? "true" : "false";
}
std::string format_item(std::int64_t integer) {
    return std::to_string(integer);
}
// '#' keeps the point of a whole number, as signatures write it.
std::string format_item(double number) {
    return fmt::format("{:#}", number);
}

template <typename Item>
std::string format_item(const std::vector<Item>& items) {
    std::vector<std::string> texts;
    texts.reserve(items.size());
    for (const Item& item : items) {
        texts.push_back(format_item(item));
    }
    return fmt::format("[{}]", join_texts(texts));
}

// ---------------------------------------------------------------------------
// Signatures

[[noreturn]] void refuse_signature(std::string_view text, std::string_view reason) {
    throw std::invalid_argument(fmt::format("the signature '{}' {}", text, reason));
}

std::optional<ParameterValue> read_default(ParameterType type, std::string_view literal) {
    if (is_list(type)) {
        return std::nullopt;
    }
    if (type != ParameterType::String) {
        return read_value(type, literal);
    }
    if (literal.size() < 2 || literal.front() != '"' || literal.back() != '"') {
        return std::nullopt;
    }
    return std::string(literal.substr(1, literal.size() - 2));
}

// Takes what stands before the separator off the text; all of it when there is none.
std::string_view take_until(std::string_view& text, std::string_view separator) {
    const std::string_view head = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(text.size(), head.size() + separator.size()));
    return head;
}

// ---------------------------------------------------------------------------
// Words

// Reads the words of one unit, collecting what is wrong with them.
class ParameterWordReader {
  public:
    explicit ParameterWordReader(std::span<const ParameterSignature> signatures)
        : signatures_(signatures) {}

    void read(std::string_view word) {
        const std::string_view key = take_until(word, "=");
        const auto signature = std::ranges::find(signatures_, key, &ParameterSignature::key);
        if (signature == signatures_.end()) {
            return problems_.push_back(explain_unknown(signatures_, key));
        }
        const auto value = read_value(signature->type, word);
        if (!value) {
            problems_.push_back(explain_wrong_value(*signature, fmt::format("'{}'", word)));
        }
        seen_.emplace(key);
        if (value) {
            store(key, *value);
        }
    }

    ParameterValues finish() {
        for (const ParameterSignature& signature : signatures_) {
            if (signature.required && !seen_.contains(signature.key)) {
                problems_.push_back(explain_missing(signature));
            }
        }
        if (!problems_.empty()) {
            throw ParameterError(std::move(problems_));
        }
        return {signatures_, std::move(given_)};
    }

  private:
    void store(std::string_view key, const ParameterValue& value) {
        const auto [place, is_first] = given_.emplace(key, value);
        if (is_first || append_items(place->second, value)) {
            return;
        }
        problems_.push_back({fmt::format("parameter '{}' is given twice and is no list", key), ""});
    }

    std::span<const ParameterSignature> signatures_;
    std::set<std::string, std::less<>> seen_; // keys whose value was wrong included
    ParameterValues::Given given_;
    std::vector<ParameterProblem> problems_;
};

} // namespace

std::string_view type_name(ParameterType type) {
    return row_of(type).name;
}

std::string_view allowed_values(ParameterType type) {
    return row_of(type).allowed;
}

bool is_list(ParameterType type) {
    return type == ParameterType::StringList || type == ParameterType::IntegerList;
}

std::optional<ParameterValue> read_value(ParameterType type, std::string_view text) {
    switch (type) {
    case ParameterType::String:
        return std::string(text);
    case ParameterType::Boolean:
        if (text == "true" || text == "false") {
            return text == "true";
        }
        break;
    case ParameterType::Integer:
        if (const auto integer = parse_number<std::int64_t>(text)) {
            return *integer;
        }
        break;
    case ParameterType::Number:
        if (const auto number = parse_number<double>(text)) {
            return *number;
        }
        break;
    case ParameterType::StringList:
        return std::vector{std::string(text)};
    case ParameterType::IntegerList:
        if (const auto integer = parse_number<std::int64_t>(text)) {
            return std::vector{*integer};
        }
        break;
    }
    return std::nullopt;
}

bool append_items(ParameterValue& list, const ParameterValue& more) {
    return append_list<std::string>(list, more) || append_list<std::int64_t>(list, more);
}

std::string format_value(const ParameterValue& value) {
    return std::visit([](const auto& v) { return format_item(v); }, value);
}

bool declares(std::span<const ParameterSignature> signatures, std::string_view key) {
    return std::ranges::find(signatures, key, &ParameterSignature::key) != signatures.end();
}

ParameterProblem explain_unknown(std::span<const ParameterSignature> signatures,
                                 std::string_view key) {
    std::vector<std::string> known;
    for (const ParameterSignature& signature : signatures) {
        known.push_back(signature.key);
    }
    return {fmt::format("unknown parameter '{}' (known: {})", key, join_texts(known)),
            suggest_nearest(key, known)};
}

ParameterProblem explain_wrong_value(const ParameterSignature& signature, std::string_view shown) {
    return {fmt::format("parameter '{}' cannot be {} (allowed: {})", signature.key, shown,
                        allowed_values(signature.type)),
            ""};
}

ParameterProblem explain_missing(const ParameterSignature& signature) {
    return {fmt::format("parameter '{}' is missing", signature.key),
            fmt::format("give {}={}", signature.key, allowed_values(signature.type))};
}

ParameterError::ParameterError(std::vector<ParameterProblem> problems)
    : std::runtime_error(problems.at(0).text), problems_(std::move(problems)) {}

ParameterSignature parse_signature(std::string_view text, bool required) {
    std::string_view rest = text;
    ParameterSignature signature;
    signature.key = take_until(rest, ": ");
    signature.required = required;
    if (!is_key(signature.key)) {
        refuse_signature(text, "has no key before ': '");
    }
    const bool has_default = rest.find(" = ") != std::string_view::npos;
    const auto row = std::ranges::find(TYPES, take_until(rest, " = "), &TypeRow::name);
    if (row == TYPES.end()) {
        refuse_signature(text, fmt::format("has an unknown type (known: {})", describe_types()));
    }
    signature.type = row->type;
    if (!has_default) {
        return signature;
    }
    signature.default_value = read_default(signature.type, rest);
    if (!signature.default_value) {
        refuse_signature(text, "has a default that is not of its type");
    }
    return signature;
}

ParameterValues::ParameterValues(std::span<const ParameterSignature> signatures, Given given)
    : signatures_(signatures.begin(), signatures.end()), given_(std::move(given)) {}

const ParameterSignature* ParameterValues::signature(std::string_view key) const {
    const auto found = std::ranges::find(signatures_, key, &ParameterSignature::key);
    return found == signatures_.end() ? nullptr : &*found;
}

const ParameterValue* ParameterValues::find(std::string_view key) const {
    const auto given = given_.find(key);
    if (given != given_.end()) {
        return &given->second;
    }
    const ParameterSignature* declared = signature(key);
    return declared != nullptr && declared->default_value ? &*declared->default_value : nullptr;
}

bool is_key(std::string_view text) {
    return !text.empty() && is_letter(text[0]) && std::ranges::all_of(text, is_key_letter);
}

void ParameterValues::set(std::string_view key, ParameterValue value) {
    given_.insert_or_assign(std::string(key), std::move(value));
}

bool is_parameter_word(std::string_view word) {
    const std::size_t equals = word.find('=');
    return equals != std::string_view::npos && is_key(word.substr(0, equals));
}

ParameterValues read_parameters(std::span<const ParameterSignature> signatures,
                                std::span<const std::string> words) {
    ParameterWordReader reader(signatures);
    for (const std::string& word : words) {
        reader.read(word);
    }
    return reader.finish();
}

} // namespace talvora::host

// The parameters of a unit: the signatures that it declares, and the Key=Value words
// that give them values.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvora::host {

enum class ParameterType { String, Boolean, Integer, Number, StringList, IntegerList };

// The alternatives stand in the order of ParameterType.
using ParameterValue = std::variant<std::string, bool, std::int64_t, double,
                                    std::vector<std::string>, std::vector<std::int64_t>>;

struct ParameterSignature {
    std::string key;
    ParameterType type = ParameterType::String;
    std::optional<ParameterValue> default_value;
    bool required = false;
};

// As a signature writes it: "list(string)".
std::string_view type_name(ParameterType type);
// What one value of the type may be, for messages: "a whole number of 64 bits"; of a
// list, what one item may be.
std::string_view allowed_values(ParameterType type);
bool is_list(ParameterType type);
// One value; that of a list is a list of one. Numbers are read whole and without regard to
// the locale (inf and nan are numbers). Nothing when the text is not of the type.
std::optional<ParameterValue> read_value(ParameterType type, std::string_view text);
// Puts the items of one list behind those of the other; false when they are not lists of
// one type.
bool append_items(ParameterValue& list, const ParameterValue& more);
// As a signature writes a default: false, -1, 0.5, "text"; a list as [1, 2].
std::string format_value(const ParameterValue& value);

bool declares(std::span<const ParameterSignature> signatures, std::string_view key);

// One thing wrong with the words given for a unit. The text is complete in itself.
struct ParameterProblem {
    std::string text;
    std::string hint;     // may be empty
    std::string key = {}; // of the parameter whose value is wrong; empty where none is
};

ParameterProblem explain_unknown(std::span<const ParameterSignature> signatures,
                                 std::string_view key);
// `shown` is what was given instead of a value of the type: 'x', or what else it is.
ParameterProblem explain_wrong_value(const ParameterSignature& signature, std::string_view shown);
ParameterProblem explain_missing(const ParameterSignature& signature);

// Everything wrong with the words at once; what() is the first problem's text.
class ParameterError : public std::runtime_error {
  public:
    explicit ParameterError(std::vector<ParameterProblem> problems);
    const std::vector<ParameterProblem>& problems() const { return problems_; }

  private:
    std::vector<ParameterProblem> problems_;
};

// "Key: type" or "Key: type = default". Whether it is required is no part of the text.
// Throws std::invalid_argument with a sentence that shows the signature.
ParameterSignature parse_signature(std::string_view text, bool required);

// What a unit reads: the value given, or the declared default.
class ParameterValues {
  public:
    using Given = std::map<std::string, ParameterValue, std::less<>>;

    ParameterValues() = default;
    // Every given key has a signature, and its value is of the declared type.
    ParameterValues(std::span<const ParameterSignature> signatures, Given given);

    // In the order of declaration.
    std::span<const ParameterSignature> signatures() const { return signatures_; }
    const Given& given() const { return given_; }

    // Null when no such parameter was declared.
    const ParameterSignature* signature(std::string_view key) const;
    // Null when there is neither a value nor a default.
    const ParameterValue* find(std::string_view key) const;
    // The value is of the declared type.
    void set(std::string_view key, ParameterValue value);

  private:
    std::vector<ParameterSignature> signatures_;
    Given given_;
};

// A letter, then letters, digits and '_'.
bool is_key(std::string_view text);

// A word is a parameter when it starts with a key and '='; every other word is left to the
// caller.
bool is_parameter_word(std::string_view word);

// Checks the words against the signatures. A repeated list key builds the list in order,
// `Key=` is the empty text. Throws ParameterError.
ParameterValues read_parameters(std::span<const ParameterSignature> signatures,
                                std::span<const std::string> words);

} // namespace talvora::host

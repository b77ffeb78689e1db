// Parses lines as parameter signatures, then takes the other lines as Key=Value words for
// them: what is read can be written and read again.
#include "fuzz/finding.h"
#include "fuzz/lines.h"
#include "fuzz/same_bits.h"
#include "host/interface/parameters.h"

#include <cmath>
#include <optional>

namespace {

using namespace talvora::fuzz;
using namespace talvora::host;

bool is_nan(const ParameterValue& value) {
    const auto* number = std::get_if<double>(&value);
    return number != nullptr && std::isnan(*number);
}

bool same_value(const ParameterValue& left, const ParameterValue& right) {
    return same_bits(left, right) || (is_nan(left) && is_nan(right));
}

bool has_type(const ParameterValue& value, ParameterType type) {
    return value.index() == static_cast<std::size_t>(type);
}

std::optional<ParameterSignature> parse(std::string_view text) {
    try {
        return parse_signature(text, false);
    } catch (const std::invalid_argument& error) {
        if (std::string_view(error.what()).find(text.substr(0, text.find('\0'))) ==
            std::string_view::npos) {
            report_finding("the refusal does not show the signature");
        }
        return std::nullopt;
    }
}

std::string write(const ParameterSignature& signature) {
    const std::string text = signature.key + ": " + std::string(type_name(signature.type));
    return signature.default_value ? text + " = " + format_value(*signature.default_value) : text;
}

void check_signature(const ParameterSignature& signature) {
    if (!is_key(signature.key)) {
        report_finding("a signature has a key that is none");
    }
    const auto& value = signature.default_value;
    if (value && !has_type(*value, signature.type)) {
        report_finding("a default is not of its signature's type");
    }
    const auto again = parse(write(signature));
    if (!again || again->key != signature.key || again->type != signature.type ||
        again->default_value.has_value() != value.has_value() ||
        (value && !same_value(*again->default_value, *value))) {
        report_finding("a signature does not read back: " + write(signature));
    }
}

// --- words

std::vector<std::string> texts_of(const std::string& value) {
    return {value};
}
std::vector<std::string> texts_of(const std::vector<std::string>& values) {
    return values;
}
template <typename T>
std::vector<std::string> texts_of(const T& value) {
    return {format_value(value)};
}
std::vector<std::string> texts_of(const std::vector<std::int64_t>& values) {
    std::vector<std::string> texts;
    for (const std::int64_t value : values) {
        texts.push_back(std::to_string(value));
    }
    return texts;
}

std::vector<std::string> write_words(const ParameterValues& values) {
    std::vector<std::string> words;
    for (const auto& [key, value] : values.given()) {
        for (const std::string& text :
             std::visit([](const auto& v) { return texts_of(v); }, value)) {
            words.push_back(key + "=" + text);
        }
    }
    return words;
}

std::optional<ParameterValues> read(std::span<const ParameterSignature> signatures,
                                    std::span<const std::string> words) {
    try {
        return read_parameters(signatures, words);
    } catch (const ParameterError& error) {
        for (const ParameterProblem& problem : error.problems()) {
            if (problem.text.empty()) {
                report_finding("a problem has no text");
            }
        }
        return std::nullopt;
    }
}

void check_values(const ParameterValues& values) {
    for (const auto& [key, value] : values.given()) {
        const ParameterSignature* signature = values.signature(key);
        if (signature == nullptr || !has_type(value, signature->type)) {
            report_finding("a value has no signature, or another type: " + key);
        }
    }
    const auto again = read(values.signatures(), write_words(values));
    if (!again || again->given().size() != values.given().size()) {
        report_finding("values do not read back");
    }
    for (const auto& [key, value] : values.given()) {
        if (!same_value(*again->find(key), value)) {
            report_finding("a value does not read back: " + key);
        }
    }
}

bool is_new(std::span<const ParameterSignature> signatures, const ParameterSignature& one) {
    return std::ranges::find(signatures, one.key, &ParameterSignature::key) == signatures.end();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<ParameterSignature> signatures;
    std::vector<std::string> words;
    for (const std::string& line : split_lines(data, size)) {
        const auto signature = is_parameter_word(line) ? std::nullopt : parse(line);
        if (!signature) {
            words.push_back(line);
            continue;
        }
        check_signature(*signature);
        if (is_new(signatures, *signature)) {
            signatures.push_back(*signature);
        }
    }
    if (const auto values = read(signatures, words)) {
        check_values(*values);
    }
    std::erase_if(words, [](const std::string& word) { return !is_parameter_word(word); });
    if (const auto values = read(signatures, words)) {
        check_values(*values);
    }
    return 0;
}

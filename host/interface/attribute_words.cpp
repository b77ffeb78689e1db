#include "host/interface/attribute_words.h"

#include "host/text/ascii.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"
#include "host/text/utf8.h"
#include "host/tree/line_names.h"
#include "host/tree/number_attribute.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <type_traits>
#include <utility>

namespace talvora::host {
namespace {

using Kind = AttributeType::Kind;
using Items = std::vector<std::string>;

constexpr std::string_view TEXT_TYPE = "text";

// As the host writes them elsewhere.
struct KnownAttribute {
    std::string_view name;
    NamedType type;
    bool is_list = false;
};

constexpr KnownAttribute KNOWN_ATTRIBUTES[] = {
    {SAMPLE_RATE_ATTRIBUTE, {Kind::Number, SampleType::Float32}},
    {START_TIME_ATTRIBUTE, {Kind::Number, SampleType::Float64}},
    {LABELS_ATTRIBUTE, {Kind::Text}, true},
    {UNIT_ATTRIBUTE, {Kind::Text}},
};

// Null for one that may hold anything.
const KnownAttribute* find_known(std::string_view name) {
    const auto* const found = std::ranges::find(KNOWN_ATTRIBUTES, name, &KnownAttribute::name);
    return found != std::end(KNOWN_ATTRIBUTES) ? found : nullptr;
}

bool is_known_number(std::string_view name) {
    const KnownAttribute* known = find_known(name);
    return known != nullptr && known->type.kind == Kind::Number;
}

template <typename Number>
constexpr ParameterType TYPE_OF =
    std::is_integral_v<Number> ? ParameterType::Integer : ParameterType::Number;

// Nothing when one of them is none.
template <typename Number>
std::optional<std::vector<Number>> read_numbers(const Items& items) {
    std::vector<Number> numbers;
    for (const std::string& item : items) {
        const auto value = read_value(TYPE_OF<Number>, item);
        if (!value) {
            return std::nullopt;
        }
        numbers.push_back(std::get<Number>(*value));
    }
    return numbers;
}

bool are_numbers(const Items& items, SampleType type) {
    return is_integer(type) ? read_numbers<std::int64_t>(items).has_value()
                            : read_numbers<double>(items).has_value();
}

std::string_view without_sign(std::string_view item) {
    return item.substr(item.starts_with('-') || item.starts_with('+') ? 1 : 0);
}

// Which no number keeps, as of the subject '007'.
bool has_leading_zeros(std::string_view item) {
    const std::string_view digits = without_sign(item);
    return digits.size() > 1 && digits[0] == '0' && is_digit(digits[1]);
}

// Which a float64 would round.
bool is_beyond_int64(const std::string& item) {
    const std::string_view digits = without_sign(item);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos &&
           !read_value(ParameterType::Integer, item);
}

NamedType guess_type(const Items& items) {
    if (std::ranges::any_of(items, has_leading_zeros)) {
        return {Kind::Text};
    }
    if (are_numbers(items, SampleType::Int64)) {
        return {Kind::Number, SampleType::Int64};
    }
    if (are_numbers(items, SampleType::Float64) && std::ranges::none_of(items, is_beyond_int64)) {
        return {Kind::Number, SampleType::Float64};
    }
    return {Kind::Text};
}

// ---------------------------------------------------------------------------
// Words

std::optional<NamedType> find_named_type(std::string_view name) {
    if (name == TEXT_TYPE) {
        return NamedType{Kind::Text};
    }
    const auto number = find_sample_type(name);
    return number ? std::optional(NamedType{Kind::Number, *number}) : std::nullopt;
}

Items split_values(std::string_view text) {
    Items items;
    for (std::size_t comma = 0; comma != std::string_view::npos;) {
        comma = text.find(',');
        items.emplace_back(text.substr(0, comma));
        text.remove_prefix(comma == std::string_view::npos ? 0 : comma + 1);
    }
    return items;
}

std::string_view allowed_numbers(SampleType type) {
    if (type == SampleType::UInt64) {
        return "a whole number of up to 9223372036854775807"; // as attributes are held
    }
    return allowed_values(is_integer(type) ? ParameterType::Integer : ParameterType::Number);
}

std::string_view name_type(const NamedType& type) {
    return type.kind == Kind::Text ? TEXT_TYPE : name_sample_type(type.number);
}

// Reads the words of one command, collecting what is wrong with them.
class AttributeWordReader {
  public:
    void read(const std::string& word) {
        if (find_invalid_utf8(word)) {
            return add_problem(fmt::format("'{}' is no UTF-8, and texts in files are", word));
        }
        const std::size_t equals = word.find('=');
        if (equals == 0 || equals == std::string::npos) {
            return add_problem(fmt::format("'{}' sets no attribute (allowed: Name=Value)", word));
        }
        std::string name = word.substr(0, equals);
        std::optional<NamedType> type;
        if (const std::size_t colon = name.rfind(':'); colon != std::string::npos) {
            const std::string type_name = name.substr(colon + 1);
            type = find_named_type(type_name);
            if (!type) {
                return add_unknown_type(word, type_name);
            }
            name.resize(colon);
        }
        store(std::move(name), type, word.substr(equals + 1));
    }

    std::vector<AttributeWord> finish() {
        for (const AttributeWord& word : words_) {
            check(word);
        }
        if (!problems_.empty()) {
            throw ParameterError(std::move(problems_));
        }
        return std::move(words_);
    }

  private:
    void add_problem(const std::string& text, const std::string& hint = "") {
        problems_.push_back({text, hint});
    }

    void add_unknown_type(const std::string& word, const std::string& type) {
        const Items known = list_attribute_types();
        add_problem(fmt::format("'{}': no type '{}' (known: {})", word, type, join_texts(known)),
                    suggest_nearest(type, known));
    }

    void store(std::string name, std::optional<NamedType> type, const std::string& value) {
        const bool is_one_text = type && type->kind == Kind::Text;
        Items items = is_one_text ? Items{value} : split_values(value);
        auto known = std::ranges::find(words_, name, &AttributeWord::name);
        if (known == words_.end()) {
            known = words_.insert(known, {std::move(name), type, {}});
        } else if (type && known->type && name_type(*type) != name_type(*known->type)) {
            return add_problem(fmt::format("attribute '{}' is given as {} and as {}", known->name,
                                           name_type(*known->type), name_type(*type)));
        }
        known->type = known->type ? known->type : type;
        std::ranges::move(items, std::back_inserter(known->items));
    }

    void check(const AttributeWord& word) {
        if (is_known_number(word.name)) {
            return check_known_number(word);
        }
        if (word.type && word.type->kind == Kind::Number &&
            !are_numbers(word.items, word.type->number)) {
            add_problem(fmt::format("attribute '{}' cannot be {} as {} (allowed: {})", word.name,
                                    describe_items(word), name_type(*word.type),
                                    allowed_numbers(word.type->number)));
        }
    }

    void check_known_number(const AttributeWord& word) {
        const bool is_rate = word.name == SAMPLE_RATE_ATTRIBUTE;
        const auto numbers = read_numbers<double>(word.items);
        const bool is_good = numbers && numbers->size() == 1 && std::isfinite(numbers->front()) &&
                             (!is_rate || numbers->front() > 0) &&
                             (!word.type || (word.type->kind == Kind::Number &&
                                             are_numbers(word.items, word.type->number)));
        if (!is_good) {
            add_problem(fmt::format("attribute '{}' cannot be {}{} (allowed: one finite number{})",
                                    word.name, describe_items(word),
                                    word.type ? fmt::format(" as {}", name_type(*word.type)) : "",
                                    is_rate ? " above 0, in Hz" : ", in seconds"));
        }
    }

    std::vector<AttributeWord> words_;
    std::vector<ParameterProblem> problems_;
};

// ---------------------------------------------------------------------------
// Values

std::uint64_t count_values(const Extents& extents) {
    return extents.empty() ? 1 : count_samples(extents);
}

// A list of one stays a list. Of more dimensions than one an attribute keeps its extents.
Extents choose_extents(const AttributeWord& word, bool is_list, const Extents& old_extents) {
    const std::size_t count = word.items.size();
    if (old_extents.size() > 1) {
        if (count_values(old_extents) != count) {
            throw AttributeMisfit(fmt::format("it holds {}, and {} values do not fill that",
                                              describe_extents(old_extents), count));
        }
        return old_extents;
    }
    return is_list || count > 1 || !old_extents.empty() ? Extents{count} : Extents{};
}

template <typename Array, typename Values>
AttributeValue make_value(Values values, const Extents& extents) {
    return extents.empty() ? AttributeValue(std::move(values.front()))
                           : AttributeValue(Array{std::move(values), extents});
}

AttributeValue make_value(const AttributeWord& word, const NamedType& type,
                          const Extents& extents) {
    if (type.kind == Kind::Text) {
        return make_value<TextArray>(word.items, extents);
    }
    if (is_integer(type.number)) {
        return make_value<IntegerArray>(read_numbers<std::int64_t>(word.items).value(), extents);
    }
    return make_value<NumberArray>(read_numbers<double>(word.items).value(), extents);
}

bool is_ascii(const std::string& text) {
    return std::ranges::none_of(
        text, [](char letter) { return static_cast<unsigned char>(letter) > 127; });
}

bool fits_kind(const AttributeWord& word, const AttributeType& type) {
    if (type.kind == Kind::Number) {
        return are_numbers(word.items, type.number);
    }
    return type.kind == Kind::Text && !is_known_number(word.name) &&
           (!type.is_ascii || std::ranges::all_of(word.items, is_ascii));
}

NewAttribute make_anew(const AttributeWord& word, const NamedType& type, bool is_list) {
    NewAttribute made{make_value(word, type, choose_extents(word, is_list, {})), std::nullopt};
    if (type.kind == Kind::Number) {
        made.number = type.number;
    }
    return made;
}

// Rounded, and neither cut nor lost.
bool holds_number(double held, double given) {
    if (std::isnan(given)) {
        return std::isnan(held);
    }
    return std::isinf(given) || given == 0 ? held == given : std::isfinite(held) && held != 0;
}

struct HoldsValue {
    bool operator()(float held, double given) const {
        return holds_number(static_cast<double>(held), given);
    }
    bool operator()(double held, double given) const { return holds_number(held, given); }
    bool operator()(std::int64_t held, std::int64_t given) const { return held == given; }
    bool operator()(const std::string& held, const std::string& given) const {
        return held == given;
    }
    bool operator()(const TextArray& held, const TextArray& given) const { return held == given; }
    bool operator()(const IntegerArray& held, const IntegerArray& given) const {
        return held == given;
    }
    bool operator()(const NumberArray& held, const NumberArray& given) const {
        return held.extents == given.extents &&
               std::ranges::equal(held.values, given.values, holds_number);
    }
    template <typename Held, typename Given>
    bool operator()(const Held&, const Given&) const {
        return false;
    }
};

} // namespace

std::vector<AttributeWord> read_attribute_words(std::span<const std::string> words) {
    AttributeWordReader reader;
    for (const std::string& word : words) {
        reader.read(word);
    }
    return reader.finish();
}

NewAttribute make_attribute(const AttributeWord& word,
                            const std::optional<AttributeType>& existing) {
    const KnownAttribute* known = find_known(word.name);
    const bool is_list = known != nullptr && known->is_list;
    if (word.type) {
        return make_anew(word, *word.type, is_list);
    }
    if (!existing) {
        return make_anew(word, known != nullptr ? known->type : guess_type(word.items), is_list);
    }
    if (!fits_kind(word, *existing)) {
        throw AttributeMisfit(fmt::format("{} does not fit", describe_items(word)));
    }
    return {make_value(word, {existing->kind, existing->number},
                       choose_extents(word, is_list, existing->extents)),
            std::nullopt, true};
}

bool holds_value(const AttributeValue& held, const AttributeValue& given) {
    return std::visit(HoldsValue{}, held, given);
}

std::vector<std::string> list_attribute_types() {
    std::vector<std::string> names = {std::string(TEXT_TYPE)};
    std::ranges::copy(list_sample_types(), std::back_inserter(names));
    return names;
}

std::string describe_items(const AttributeWord& word) {
    Items quoted;
    for (const std::string& item : word.items) {
        quoted.push_back(fmt::format("'{}'", item));
    }
    return list_some(quoted);
}

} // namespace talvora::host

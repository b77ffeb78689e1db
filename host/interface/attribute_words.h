// Attributes as words of a command set them: Name=Value, or Name:type=Value.
//
// Commas part several values, and a repeated name adds further ones; behind Name:text= commas are
// part of the text. Numbers are read whole and without regard to the locale.
#pragma once

#include "host/interface/parameters.h"
#include "host/tree/attribute_type.h"

#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace talvora::host {

// The type that a word names: numbers of one type, or texts.
struct NamedType {
    AttributeType::Kind kind = AttributeType::Kind::Text;
    SampleType number = SampleType::Float64; // of numbers
};

// An attribute to be set.
struct AttributeWord {
    std::string name;
    std::optional<NamedType> type; // as the word names it
    std::vector<std::string> items;
};

// What takes the place of an attribute, or becomes a new one.
struct NewAttribute {
    AttributeValue value;
    std::optional<SampleType> number; // as which numbers are stored
    bool keeps_type = false;          // that of the attribute which is there
};

// Says which value does not fit which type.
class AttributeMisfit : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// In the order of the words, each name once. Throws ParameterError for words that are none, an
// unknown type, a value that is none of its type, and a SampleRate that is not above 0 and finite.
std::vector<AttributeWord> read_attribute_words(std::span<const std::string> words);

// The value of a word for an attribute that is there as `existing`, or is new. The type is the one
// that the word names, else the one that is there, else the usual one of SampleRate, StartTime,
// Labels and Unit, else what the values are: whole numbers as int64, numbers as float64, else
// as texts, which lose no digit of a whole number that is larger than that, and no zero in front.
// Throws AttributeMisfit for a value that is not of the kind that is there.
NewAttribute make_attribute(const AttributeWord& word,
                            const std::optional<AttributeType>& existing);

// Whether what an attribute holds is what was to be set, but for the rounding of floats. An
// attribute of a type cuts what does not fit.
bool holds_value(const AttributeValue& held, const AttributeValue& given);

// The names of types that a word may give: "text", "float32".
std::vector<std::string> list_attribute_types();

// "'0.5'", and "'X', 'Y'" of several.
std::string describe_items(const AttributeWord& word);

} // namespace talvora::host

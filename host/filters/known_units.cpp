#include "host/filters/known_units.h"

#include "host/filters/filter_design.h"
#include "host/filters/filter_parameters.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>
#include <variant>

namespace talvora::host {
namespace {

using Signatures = std::span<const ParameterSignature>;

// ---------------------------------------------------------------------------
// Single units

using Facts = std::span<const ParameterFacts>;

struct KnownUnit {
    std::string_view ending; // of its identifiers, the current and the legacy one
    Facts parameters = {};   // those that are its own, or mean something else in it
    std::span<const KeyChoice> choices = {};
    std::string_view choice_example = {}; // beyond the source, as a word of a command
    bool makes_filter = false;            // by FILTER_KEYS
    bool fills_gaps = false;
    bool takes_baseline = false; // of BASELINE_SAMPLES
    bool takes_means = false;
    bool changes_rates = false; // to that of HINT_GROUP_KEY or HINT_SET_KEY
    bool tells_of_last_read = false;
    bool needs_rates = false;             // of all its sets
    std::string_view key_without_rates{}; // given above or below 0 it needs none
};

constexpr KeyChoice SOURCE_CHOICE = {SOURCE_SETS_KEY, SOURCE_GROUP_KEY};
constexpr KeyChoice IN_PLACE_CHOICES[] = {SOURCE_CHOICE};
constexpr KeyChoice DOWNSAMPLE_CHOICES[] = {SOURCE_CHOICE, {HINT_GROUP_KEY, HINT_SET_KEY}};
constexpr KeyChoice FILL_GAP_CHOICES[] = {SOURCE_CHOICE, {"MaxGapLength", "HintMaxGapLength"}};

constexpr ParameterFacts OPPOSITE[] = {
    {AXIS_KEY, "the dimension that the components lie along, counted from 0", "",
     "negative: the whole set"},
    {COMPONENTS_KEY, "positions along the axis, counted from 0"},
};

constexpr ParameterFacts DOWNSAMPLE[] = {
    {HINT_GROUP_KEY, "a group whose SampleRate is the target"},
    {HINT_SET_KEY, "a data set whose SampleRate is the target, where no HintGroup is given"},
};

constexpr ParameterFacts FILL_GAP[] = {
    {"MaxGapLength", "the longest gap to fill", "samples",
     "negative: any gap; 0: by HintMaxGapLength"},
    {"HintMaxGapLength", "the longest gap to fill, as a time; counts where MaxGapLength is 0", "s",
     "above 0, at most 1"},
};

constexpr ParameterFacts BUTTERWORTH[] = {
    {CUTOFF_KEY, "the edge, of a band form the centre of the band", "Hz", "above 0", "5"},
    {ORDER_KEY, "the total over both passes; an odd one filters like the even one below it", "",
     "above 0; 1 changes no value", "4"},
    {BANDFORM_KEY, "which frequencies are let through"},
    {BANDWIDTH_KEY, "the full width of the band", "Hz",
     "above 0 for the band forms, 0 for the others"},
};

constexpr ParameterFacts AVERAGE[] = {
    {SOURCE_GROUP_KEY, "the group whose data sets are averaged"},
    {DESTINATION_GROUP_KEY, "the group for the means; made when missing"},
    {AXIS_KEY, "the dimension to average over, counted from 0", "", "negative: the last"},
};

constexpr ParameterFacts AVERAGE_2[] = {
    {SOURCE_GROUP_KEY, "the group whose data sets are averaged"},
    {DESTINATION_SET_KEY, "the data set for the means, named from the root of the file"},
    {NAMES_FILTER_KEY, "names of data sets in the source group, or labels; else all of them"},
    {TRANSLATION_KEY, "label, source, label, source, ...", "", "an even number of texts"},
};

constexpr ParameterFacts MAXIMUM_EXTREMA[] = {
    {SOURCE_GROUP_KEY, "the group whose data sets are looked at"},
    {DESTINATION_GROUP_KEY, "the group for the maxima; made when missing"},
    {"OverwriteIfGreater", "keep what the destination holds unless the new maximum is greater"},
};

// Of every unit that does not say otherwise above.
constexpr ParameterFacts COMMON[] = {
    {SOURCE_SETS_KEY, "data sets, by their paths; a pattern stands for all that it matches"},
    {SOURCE_GROUP_KEY, "a group whose data sets are all taken"},
    {SCAN_RECURSIVE_KEY, "whether those of the groups below it are taken too"},
    {AXIS_KEY, "the dimension that the samples run along, counted from 0", "",
     "negative: the last"},
    {NAMES_FILTER_KEY, "names of data sets in the source group; else all of them"},
    {METRIC_FILTER_KEY, "takes only data sets whose MetricType is exactly this text"},
};

constexpr KnownUnit KNOWN_UNITS[] = {
    {.ending = "set-rectify", .choices = IN_PLACE_CHOICES, .needs_rates = true},
    {.ending = "set-opposite", .parameters = OPPOSITE, .choices = IN_PLACE_CHOICES},
    {.ending = "set-baseline-offset",
     .choices = IN_PLACE_CHOICES,
     .takes_baseline = true,
     .tells_of_last_read = true},
    {.ending = "set-downsample",
     .parameters = DOWNSAMPLE,
     .choices = DOWNSAMPLE_CHOICES,
     .choice_example = " HintGroup=Reference",
     .changes_rates = true,
     .needs_rates = true},
    {.ending = "set-fill-gap",
     .parameters = FILL_GAP,
     .choices = FILL_GAP_CHOICES,
     .choice_example = " MaxGapLength=10",
     .fills_gaps = true,
     .needs_rates = true,
     .key_without_rates = "MaxGapLength"},
    {.ending = "set-butterworth",
     .parameters = BUTTERWORTH,
     .choices = IN_PLACE_CHOICES,
     .makes_filter = true,
     .needs_rates = true},
    {.ending = "average-set", .parameters = AVERAGE, .takes_means = true},
    {.ending = "average-set-2", .parameters = AVERAGE_2, .takes_means = true},
    {.ending = "set-maximum-extrema", .parameters = MAXIMUM_EXTREMA},
};

// Null for a unit that the table does not know.
const KnownUnit* find_known_unit(const Unit& unit) {
    const auto ends_so = [&](const KnownUnit& known) { return unit.name.ends_with(known.ending); };
    const auto* const known = std::ranges::find_if(KNOWN_UNITS, ends_so);
    return known != std::end(KNOWN_UNITS) ? known : nullptr;
}

// The maker's current identifiers and the legacy ones.
bool is_of_this_maker(const Unit& unit) {
    return unit.name.starts_with("orvane.signal.") || unit.name.starts_with("signal.");
}

// What is told of the parameters of another maker's unit would be a guess.
const KnownUnit* find_own_unit(const Unit& unit) {
    return is_of_this_maker(unit) ? find_known_unit(unit) : nullptr;
}

const ParameterFacts* find_facts(Facts facts, std::string_view key) {
    const auto found = std::ranges::find(facts, key, &ParameterFacts::key);
    return found == facts.end() ? nullptr : &*found;
}

// ---------------------------------------------------------------------------
// Values

bool is_any_given(const KeyChoice& choice, const ParameterValues& values,
                  std::span<const std::string> found_keys) {
    return std::ranges::any_of(choice, [&](std::string_view key) {
        return values.given().contains(key) ||
               std::ranges::find(found_keys, key) != found_keys.end();
    });
}

std::optional<ParameterProblem> find_wrong_word(const ParameterSignature& signature,
                                                const ParameterValues& values) {
    const ParameterValue* value = values.find(signature.key);
    const auto* text = value == nullptr ? nullptr : std::get_if<std::string>(value);
    const std::vector<std::string> allowed = list_value_words(signature);
    if (text == nullptr || allowed.empty() || std::ranges::find(allowed, *text) != allowed.end()) {
        return std::nullopt;
    }
    return ParameterProblem{fmt::format("parameter '{}' cannot be '{}' (allowed: {})",
                                        signature.key, *text, join_texts(allowed)),
                            suggest_nearest(*text, allowed), signature.key};
}

// Filters take the low 32 bits of their whole numbers.
std::optional<ParameterProblem> find_cut_number(const ParameterSignature& signature,
                                                const ParameterValues& values) {
    using Kept = std::numeric_limits<std::int32_t>;
    const auto* number = find_value<std::int64_t>(values, signature.key);
    if (number == nullptr || (*number >= Kept::min() && *number <= Kept::max())) {
        return std::nullopt;
    }
    return ParameterProblem{
        fmt::format("parameter '{}' is {}, of which the unit would take the low 32 bits, {} "
                    "(allowed: {} to {})",
                    signature.key, *number,
                    static_cast<std::int32_t>(static_cast<std::uint32_t>(*number)), Kept::min(),
                    Kept::max()),
        "", signature.key};
}

// ---------------------------------------------------------------------------
// Keys that mean the same in every unit

struct KeyMeaning {
    std::string_view key;
    std::string_view text;
};

constexpr KeyMeaning SOURCES[] = {
    {SOURCE_SETS_KEY, " named by SourceSets or"},
    {SOURCE_GROUP_KEY, " in the group SourceGroup"},
    {SCAN_RECURSIVE_KEY, " (with ScanRecursive=true, below it too)"},
};

// A destination keeps the sources as they are; without one they are rewritten in place.
constexpr std::string_view DESTINATIONS[] = {DESTINATION_GROUP_KEY, DESTINATION_SET_KEY};

// Null where there is none.
const std::string_view* find_destination(Signatures signatures) {
    const auto* const key = std::ranges::find_if(
        DESTINATIONS, [&](std::string_view candidate) { return declares(signatures, candidate); });
    return key == std::end(DESTINATIONS) ? nullptr : key;
}

std::string_view choose_example_value(const Unit& unit, const ParameterSignature& parameter) {
    const ParameterFacts* facts = find_parameter_facts(unit, parameter.key);
    if (facts != nullptr && !facts->example.empty()) {
        return facts->example;
    }
    switch (parameter.type) {
    case ParameterType::Boolean:
        return "true";
    case ParameterType::Integer:
    case ParameterType::IntegerList:
        return "2";
    case ParameterType::Number:
        return "10";
    case ParameterType::String:
    case ParameterType::StringList:
        break;
    }
    return parameter.key.starts_with("Source") ? "Signals" : "Results";
}

} // namespace

bool makes_filter(const Unit& unit) {
    const KnownUnit* known = find_known_unit(unit);
    return known != nullptr && known->makes_filter;
}

bool fills_gaps(const Unit& unit) {
    const KnownUnit* known = find_known_unit(unit);
    return known != nullptr && known->fills_gaps;
}

bool tells_of_last_read(const Unit& unit) {
    const KnownUnit* known = find_own_unit(unit);
    return known != nullptr && known->tells_of_last_read;
}

const ParameterFacts* find_parameter_facts(const Unit& unit, std::string_view key) {
    const KnownUnit* known = find_own_unit(unit);
    if (known == nullptr) {
        return nullptr;
    }
    const ParameterFacts* own = find_facts(known->parameters, key);
    return own != nullptr ? own : find_facts(COMMON, key);
}

std::span<const KeyChoice> list_key_choices(const Unit& unit) {
    const KnownUnit* known = find_own_unit(unit);
    return known == nullptr ? std::span<const KeyChoice>() : known->choices;
}

std::vector<ParameterProblem> check_values(const Unit& unit, const ParameterValues& values,
                                           std::span<const std::string> found_keys) {
    std::vector<ParameterProblem> problems;
    if (find_own_unit(unit) == nullptr) {
        return problems;
    }
    for (const ParameterSignature& signature : values.signatures()) {
        if (auto problem = find_wrong_word(signature, values)) {
            problems.push_back(std::move(*problem));
        }
        if (auto problem = makes_filter(unit) ? find_cut_number(signature, values) : std::nullopt) {
            problems.push_back(std::move(*problem));
        }
    }
    for (const KeyChoice& choice : list_key_choices(unit)) {
        if (!is_any_given(choice, values, found_keys)) {
            problems.push_back({fmt::format("neither '{}' nor '{}' is given", choice[0], choice[1]),
                                "give one of the two"});
        }
    }
    return problems;
}

bool takes_baseline(const Unit& unit) {
    const KnownUnit* known = find_known_unit(unit);
    return known != nullptr && known->takes_baseline;
}

bool takes_means(const Unit& unit) {
    const KnownUnit* known = find_known_unit(unit);
    return known != nullptr && known->takes_means;
}

bool changes_rates(const Unit& unit) {
    const KnownUnit* known = find_known_unit(unit);
    return known != nullptr && known->changes_rates;
}

bool needs_rates(const Unit& unit, const ParameterValues& values) {
    const KnownUnit* known = find_own_unit(unit);
    if (known == nullptr || !known->needs_rates) {
        return false;
    }
    const auto* length = find_value<std::int64_t>(values, known->key_without_rates);
    return length == nullptr || *length == 0;
}

std::string describe_reads(Signatures signatures) {
    std::string text = "data sets";
    for (const auto& [key, meaning] : SOURCES) {
        if (declares(signatures, key)) {
            text += meaning;
        }
    }
    return text + ", and their attributes";
}

std::string describe_writes(Signatures signatures) {
    const auto* const key = find_destination(signatures);
    return key == nullptr
               ? "the same data sets, in place"
               : fmt::format("{}, made when missing; the sources stay as they are", *key);
}

bool works_in_place(Signatures signatures) {
    return find_destination(signatures) == nullptr;
}

std::string make_example(const Unit& unit, Signatures signatures) {
    std::string text = fmt::format("talvora-host run {}", short_name(unit));
    for (const ParameterSignature& parameter : signatures) {
        if (parameter.required || parameter.key == SOURCE_GROUP_KEY) {
            text += fmt::format(" {}={}", parameter.key, choose_example_value(unit, parameter));
        }
    }
    const KnownUnit* known = find_known_unit(unit);
    return fmt::format("{}{} in.h5 -o out.h5", text, known == nullptr ? "" : known->choice_example);
}

std::vector<std::string> list_value_words(const ParameterSignature& signature) {
    if (signature.key == BANDFORM_KEY) {
        return list_bandforms();
    }
    return signature.type == ParameterType::Boolean ? std::vector<std::string>{"true", "false"}
                                                    : std::vector<std::string>();
}

std::string describe_allowed(const ParameterSignature& signature, const ParameterFacts& facts) {
    std::vector<std::string> texts;
    if (!facts.allowed.empty()) {
        texts.emplace_back(facts.allowed);
    }
    if (signature.type == ParameterType::String) {
        if (const auto words = list_value_words(signature); !words.empty()) {
            texts.push_back("one of " + join_texts(words));
        }
    }
    return join_texts(texts, "; ");
}

std::vector<std::string> describe_key_choices(const Unit& unit) {
    std::vector<std::string> sentences;
    for (const KeyChoice& choice : list_key_choices(unit)) {
        sentences.push_back(fmt::format("{} or {} has to be given", choice[0], choice[1]));
    }
    return sentences;
}

} // namespace talvora::host

#include "host/filters/known_units.h"

#include "host/filters/filter_design.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvora::host {
namespace {

using Signatures = std::span<const ParameterSignature>;

// ---------------------------------------------------------------------------
// Single units

struct KnownUnit {
    std::string_view ending; // of its identifiers, the current and the legacy one
    // What it asks for beyond its required parameters, one out of several, which no
    // signature tells: words of a command.
    std::string_view choice = {};
    bool makes_filter = false;   // by FILTER_KEYS
    bool takes_baseline = false; // of BASELINE_SAMPLES
    bool changes_rates = false;  // to that of HINT_GROUP_KEY or HINT_SET_KEY
};

constexpr KnownUnit KNOWN_UNITS[] = {
    {.ending = "set-baseline-offset", .takes_baseline = true},
    {.ending = "set-butterworth", .makes_filter = true},
    {.ending = "set-downsample", .choice = " HintGroup=Reference", .changes_rates = true},
    {.ending = "set-fill-gap", .choice = " MaxGapLength=10"},
};

// An empty row for a unit that the table does not know.
KnownUnit find_known_unit(const Unit& unit) {
    const auto ends_so = [&](const KnownUnit& known) { return unit.name.ends_with(known.ending); };
    const auto* const known = std::ranges::find_if(KNOWN_UNITS, ends_so);
    return known != std::end(KNOWN_UNITS) ? *known : KnownUnit();
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
constexpr std::string_view DESTINATIONS[] = {"DestinationGroup", "DestinationSet"};

bool declares(Signatures signatures, std::string_view key) {
    return std::ranges::find(signatures, key, &ParameterSignature::key) != signatures.end();
}

std::string_view choose_example_value(const ParameterSignature& parameter) {
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
    return find_known_unit(unit).makes_filter;
}

bool takes_baseline(const Unit& unit) {
    return find_known_unit(unit).takes_baseline;
}

bool changes_rates(const Unit& unit) {
    return find_known_unit(unit).changes_rates;
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
    for (const std::string_view key : DESTINATIONS) {
        if (declares(signatures, key)) {
            return fmt::format("{}, made when missing; the sources stay as they are", key);
        }
    }
    return "the same data sets, in place";
}

std::string make_example(const Unit& unit, Signatures signatures) {
    std::string text = fmt::format("talvora-host run {}", short_name(unit));
    for (const ParameterSignature& parameter : signatures) {
        if (parameter.required || parameter.key == SOURCE_GROUP_KEY) {
            text += fmt::format(" {}={}", parameter.key, choose_example_value(parameter));
        }
    }
    return fmt::format("{}{} in.h5 -o out.h5", text, find_known_unit(unit).choice);
}

std::vector<std::string> list_value_words(const ParameterSignature& signature) {
    if (signature.key == BANDFORM_KEY) {
        return list_bandforms();
    }
    return signature.type == ParameterType::Boolean ? std::vector<std::string>{"true", "false"}
                                                    : std::vector<std::string>();
}

} // namespace talvora::host

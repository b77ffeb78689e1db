// What the host knows about single units beyond what they declare.
//
// Nowhere else does the program go by the name of a unit; whoever needs such a fact asks here.
// Types, defaults and needs of parameters are no part of it: they come from the signatures that
// the plug-in declares. A unit that is new to the plug-in needs nothing here: it is listed,
// described, completed and run from its signatures alone. A row in known_units.cpp adds what its
// parameters mean and what of them no signature tells.
//
// Which parameters name data sets and groups follows from their keys, for all units alike:
// named_place() of host/interface/parameter_places.h.
#pragma once

#include "host/interface/parameters.h"
#include "host/interface/plugin_library.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvora::host {

// The keys by which units choose the data sets that they work on.
constexpr std::string_view SOURCE_SETS_KEY = "SourceSets";
constexpr std::string_view SOURCE_GROUP_KEY = "SourceGroup";
constexpr std::string_view SCAN_RECURSIVE_KEY = "ScanRecursive";
// The dimension that samples run along; negative: the last.
constexpr std::string_view AXIS_KEY = "Axis";
// Where a unit that keeps its sources writes: a group for sets of the sources' names, or one set.
constexpr std::string_view DESTINATION_GROUP_KEY = "DestinationGroup";
constexpr std::string_view DESTINATION_SET_KEY = "DestinationSet";
// Positions along AXIS_KEY that are taken.
constexpr std::string_view COMPONENTS_KEY = "Components";
// Of the sets in the group, those of these names, and those of this kind.
constexpr std::string_view NAMES_FILTER_KEY = "NamesFilter";
constexpr std::string_view METRIC_FILTER_KEY = "MetricFilter";
constexpr char METRIC_TYPE_ATTRIBUTE[] = "MetricType"; // of a set, what METRIC_FILTER_KEY asks for
// Of the labels of a destination's columns: label, source, label, source, ...
constexpr std::string_view TRANSLATION_KEY = "TranslationMap";
// What a unit takes its target rate from; the group counts where both are given.
constexpr std::string_view HINT_GROUP_KEY = "HintGroup";
constexpr std::string_view HINT_SET_KEY = "HintSet";

// The unit that makes a filter, by what follows the last dot of its identifier, and the keys by
// which it does; its others choose data.
constexpr std::string_view FILTER_UNIT = "apply-set-butterworth";
constexpr std::string_view CUTOFF_KEY = "CutoffFrequency"; // number, Hz
constexpr std::string_view ORDER_KEY = "Order";            // integer, over both passes
constexpr std::string_view BANDFORM_KEY = "Bandform";      // string, of list_bandforms()
constexpr std::string_view BANDWIDTH_KEY = "BandWidth";    // number, Hz
inline constexpr std::array FILTER_KEYS = {CUTOFF_KEY, ORDER_KEY, BANDFORM_KEY, BANDWIDTH_KEY};

// By the unit's current or its legacy identifier, of whatever maker.
bool makes_filter(const Unit& unit);
// It fills gaps from the valid samples on either side in a line.
bool fills_gaps(const Unit& unit);
// Whether what it tells is about the data set that it read last: it does not name it.
bool tells_of_last_read(const Unit& unit);

// What no signature tells of a parameter.
struct ParameterFacts {
    std::string_view key;
    std::string_view meaning;
    std::string_view measure = {}; // what a number counts: "Hz", "samples", "s"
    std::string_view allowed = {}; // "above 0"; empty where the type says enough
    std::string_view example = {}; // a value that gives a useful result
};

// Null for a parameter, or a unit, that the table does not know. A unit of another maker is not
// known, whatever its name.
const ParameterFacts* find_parameter_facts(const Unit& unit, std::string_view key);

// Two keys of which one at least has to be given for the unit to run.
using KeyChoice = std::array<std::string_view, 2>;
std::span<const KeyChoice> list_key_choices(const Unit& unit);

// What is wrong with the values beyond their types, before anything is run: a word that is none of
// those allowed, a whole number that the unit would cut, a choice of keys of which none is given,
// nor among `found_keys`. Nothing of a unit that is not known.
std::vector<ParameterProblem> check_values(const Unit& unit, const ParameterValues& values,
                                           std::span<const std::string> found_keys = {});
// It takes the median of a line's first samples, BASELINE_SAMPLES of them, off the line.
bool takes_baseline(const Unit& unit);
constexpr std::uint64_t BASELINE_SAMPLES = 10;
// It makes means of lines, whose sums are of single precision.
bool takes_means(const Unit& unit);
// It keeps some of the samples and their time; sets of a rate that is low enough it leaves.
bool changes_rates(const Unit& unit);

// It refuses a set without a rate above 0, with these values.
bool needs_rates(const Unit& unit, const ParameterValues& values);

// What a unit reads and writes, as it shows in the keys of its parameters, in a sentence's
// part: "the same data sets, in place".
std::string describe_reads(std::span<const ParameterSignature> signatures);
std::string describe_writes(std::span<const ParameterSignature> signatures);
bool works_in_place(std::span<const ParameterSignature> signatures);

// A command that runs the unit, to copy: with its required parameters, a group to work on
// and what it asks for besides.
std::string make_example(const Unit& unit, std::span<const ParameterSignature> signatures);

// The words that a value of the parameter is one of; none where it may be anything.
std::vector<std::string> list_value_words(const ParameterSignature& signature);

// "above 0", "one of ZeroLagLowPass, ZeroLagHighPass"; empty where the type says enough.
std::string describe_allowed(const ParameterSignature& signature, const ParameterFacts& facts);

// "SourceSets or SourceGroup has to be given", for each choice.
std::vector<std::string> describe_key_choices(const Unit& unit);

} // namespace talvora::host

// A step as guards look at it.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/recipes/recipe.h"
#include "host/tree/attached_scale.h"
#include "host/tree/data_tree.h"
#include "host/tree/observed_tree.h"
#include "host/tree/sample_rounding.h"
#include "host/tree/sample_type.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvora::host {

// A set that was of another type than 32-bit floats when the input was opened.
struct RoundedSamples {
    SampleType type{};
    RoundingChange change;          // by rounding what the step read, in the line that loses most
    bool leaves_outliers = false;   // of which a few samples far from the others are left out
    std::string line = {};          // as "[1, 0, :]"; empty where the set has one, or very many
    bool replaces_original = false; // the step wrote it in the place of the input
};

// That a line of the set changes by a large part of its range: "is of 64-bit floats between 0 and
// 1e+09; as 32-bit floats they change by up to 31, 3.1e-08 of that range". Nothing where none does.
std::optional<std::string> describe_lost_range(const RoundedSamples& samples);

// All of it is borrowed.
struct GuardedStep {
    const Step& step;                     // with names in the place of patterns
    DataTree& tree;                       // as it is now, before or after the step
    std::span<const FilterFacts> filters; // that the step makes
    const std::string& source;            // the file's name, for what is to be typed; empty: none
    const StepObservations* done;         // what the step did; null before it
    std::map<std::string, RoundedSamples> rounded = {}; // that the step took, by path
    const ParameterValues* given = nullptr;             // with the patterns; null: there are none
    // Of the sets that the step resized, by path: what is attached to them, and what they are
    // attached to.
    std::map<std::string, std::vector<AttachedScale>> scales = {};
    std::map<std::string, std::vector<ScaledSet>> scaled_sets = {};
    std::span<const std::string> unit_errors = {}; // that the unit told of, each once
};

} // namespace talvora::host

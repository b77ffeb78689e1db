// A step as guards look at it.
#pragma once

#include "host/filters/filter_facts.h"
#include "host/recipes/recipe.h"
#include "host/tree/data_tree.h"
#include "host/tree/observed_tree.h"
#include "host/tree/sample_type.h"

#include <map>
#include <span>
#include <string>

namespace talvora::host {

// All of it is borrowed.
struct GuardedStep {
    const Step& step;                     // with names in the place of patterns
    DataTree& tree;                       // as it is now, before or after the step
    std::span<const FilterFacts> filters; // that the step makes
    const std::string& source;            // the file's name, for what is to be typed
    const StepObservations* done;         // what the step did; null before it
    // Sets that the step wrote in the place of the input, and the types that they were of there.
    std::map<std::string, SampleType> narrowed = {};
};

} // namespace talvora::host

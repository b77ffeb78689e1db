// Several things wrong with the words of a command, or with a recipe.
#pragma once

#include "host/interface/parameters.h"
#include "host/text/failure.h"

#include <span>

namespace talvora::host {

// All of them as one failure of usage: their texts one behind the other, and their hints.
Failure join_problems(std::span<const ParameterProblem> problems);

} // namespace talvora::host

// The valid runs of a single line, in a list of their own.
#pragma once

#include "dsp/valid_runs.h"

namespace talvora::dsp {

inline std::vector<ValidRun> list_valid_runs(std::span<const float> line, std::int64_t min_length) {
    std::vector<ValidRun> runs;
    find_valid_runs(line, min_length, runs);
    return runs;
}

} // namespace talvora::dsp

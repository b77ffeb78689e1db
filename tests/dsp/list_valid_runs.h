// The valid runs of a single line, in a list of their own.
#pragma once

#include "dsp/valid_runs.h"

namespace talvora::dsp {

template <class Line>
std::vector<ValidRun> list_valid_runs(const Line& line, std::int64_t min_length) {
    std::vector<ValidRun> runs;
    find_valid_runs(line, min_length, runs);
    return runs;
}

} // namespace talvora::dsp

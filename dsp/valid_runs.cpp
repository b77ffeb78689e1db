#include "dsp/valid_runs.h"

#include <bit>
#include <cmath>
#include <cstdint>

namespace talvora::dsp {

namespace {

// Most lines have a handful of runs: room for them without growing.
constexpr std::size_t INITIAL_RUN_ROOM = 10;

std::size_t skip_missing(std::span<const float> line, std::size_t index) {
    while (index < line.size() && std::isnan(line[index])) {
        ++index;
    }
    return index;
}

// Enough samples for several vector compares, few enough that the search for the exact end
// of a run costs little.
constexpr std::size_t BLOCK_SIZE = 32;

// Without a branch per sample, and by the bits: compilers take several integers at once
// where they compare floats one by one. A magnitude beyond infinity leaves the sign bit.
bool has_missing(std::span<const float, BLOCK_SIZE> block) {
    constexpr std::int32_t MAGNITUDE_BITS = 0x7FFFFFFF;
    constexpr std::int32_t INFINITY_BITS = 0x7F800000;
    std::int32_t missing = 0;
    for (const float sample : block) {
        missing |= INFINITY_BITS - (std::bit_cast<std::int32_t>(sample) & MAGNITUDE_BITS);
    }
    return missing < 0;
}

std::size_t skip_valid(std::span<const float> line, std::size_t index) {
    while (line.size() - index >= BLOCK_SIZE &&
           !has_missing(line.subspan(index).first<BLOCK_SIZE>())) {
        index += BLOCK_SIZE;
    }
    while (index < line.size() && !std::isnan(line[index])) {
        ++index;
    }
    return index;
}

} // namespace

void find_valid_runs(std::span<const float> line, std::int64_t min_length,
                     std::vector<ValidRun>& runs) {
    runs.clear();
    runs.reserve(INITIAL_RUN_ROOM);
    for (std::size_t start = skip_missing(line, 0); start < line.size();) {
        const std::size_t end = skip_valid(line, start);
        const auto length = static_cast<std::int64_t>(end - start);
        if (length >= min_length) {
            runs.push_back({static_cast<std::int64_t>(start), length});
        }
        start = skip_missing(line, end);
    }
}

std::vector<ValidRun> find_valid_runs(std::span<const float> line, std::int64_t min_length) {
    std::vector<ValidRun> runs;
    find_valid_runs(line, min_length, runs);
    return runs;
}

} // namespace talvora::dsp

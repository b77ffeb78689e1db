#include "dsp/valid_runs.h"

#include "dsp/vector_operations.h"

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

bool has_missing(const float* block) {
    constexpr std::size_t WIDTH = sizeof(Floats) / sizeof(float);
    FloatMask missing{};
    for (std::size_t i = 0; i < BLOCK_SIZE; i += 2 * WIDTH) {
        Floats left;
        Floats right;
        FloatMask found;
        load(left, block + i);
        load(right, block + i + WIDTH);
        find_missing(left, right, found);
        missing |= found;
    }
    return has_any(missing);
}

std::size_t skip_valid(std::span<const float> line, std::size_t index) {
    while (line.size() - index >= BLOCK_SIZE && !has_missing(line.data() + index)) {
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

} // namespace talvora::dsp

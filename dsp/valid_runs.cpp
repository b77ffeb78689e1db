#include "dsp/valid_runs.h"

#include "dsp/vector_operations.h"

#include <cmath>
#include <cstdint>

namespace talvora::dsp {

namespace {

// Most lines have a handful of runs: room for them without growing.
constexpr std::size_t INITIAL_RUN_ROOM = 10;

template <class Sample>
std::size_t skip_missing(std::span<const Sample> line, std::size_t index) {
    while (index < line.size() && std::isnan(line[index])) {
        ++index;
    }
    return index;
}

// Enough samples for several vector compares, few enough that the search for the exact end
// of a run costs little.
constexpr std::size_t BLOCK_SIZE = 32;

template <class Sample>
bool has_missing(const Sample* block) {
    using Samples = typename BaselineVectorOf<Sample>::Type;
    constexpr std::size_t WIDTH = sizeof(Samples) / sizeof(Sample);
    typename BaselineVectorOf<Sample>::Mask missing{};
    for (std::size_t i = 0; i < BLOCK_SIZE; i += 2 * WIDTH) {
        Samples left;
        Samples right;
        typename BaselineVectorOf<Sample>::Mask found;
        load(left, block + i);
        load(right, block + i + WIDTH);
        find_missing(left, right, found);
        missing |= found;
    }
    return has_any(missing);
}

template <class Sample>
std::size_t skip_valid(std::span<const Sample> line, std::size_t index) {
    while (line.size() - index >= BLOCK_SIZE && !has_missing(line.data() + index)) {
        index += BLOCK_SIZE;
    }
    while (index < line.size() && !std::isnan(line[index])) {
        ++index;
    }
    return index;
}

template <class Sample>
void find_runs(std::span<const Sample> line, std::int64_t min_length, std::vector<ValidRun>& runs) {
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

} // namespace

void find_valid_runs(std::span<const float> line, std::int64_t min_length,
                     std::vector<ValidRun>& runs) {
    find_runs(line, min_length, runs);
}

void find_valid_runs(std::span<const double> line, std::int64_t min_length,
                     std::vector<ValidRun>& runs) {
    find_runs(line, min_length, runs);
}

} // namespace talvora::dsp

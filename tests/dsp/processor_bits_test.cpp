// The bits that x86-64 gives, on every other architecture: what is compared with SciPy within a
// tolerance elsewhere. `dsp_tests --gtest_filter=ProcessorBits.*` with TALVORA_WRITE_BITS=FILE
// writes them anew; it did so on x86-64, before there was another architecture.
#include "dsp/butterworth_design.h"
#include "dsp/filter_set.h"
#include "dsp/percentile.h"
#include "dsp/reductions.h"
#include "dsp/signal_to_noise.h"
#include "dsp/zero_phase_filter.h"
#include "tests/support/special_values.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

namespace talvora::dsp {
namespace {

constexpr int CASE_COUNT = 600;
constexpr std::size_t LINE_LENGTH = 1500;

// FNV-1a of all bytes.
template <class Value>
std::string hash(std::span<const Value> values) {
    std::uint64_t sum = 0xCBF29CE484222325U;
    for (const std::byte byte : std::as_bytes(values)) {
        sum = (sum ^ static_cast<std::uint64_t>(byte)) * 0x100000001B3U;
    }
    std::ostringstream text;
    text << std::hex << sum;
    return text.str();
}

class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    int below(int end) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(end)); }
    double share() { return static_cast<double>(engine_() >> 11U) * 0x1p-53; }
    std::vector<float> samples(std::size_t count) {
        std::vector<float> samples(count);
        for (float& sample : samples) {
            sample = static_cast<float>(share() * 2000.0 - 1000.0);
        }
        return samples;
    }

  private:
    std::mt19937_64 engine_; // gives the same numbers everywhere, as its distributions do not
};

// Of all forms; every fifth may be of so high an order that its steady state is solved in blocks.
ButterworthParameters any_filter(Dice& dice, int index) {
    const auto form = Bandform(index % 4);
    const double cutoff = 0.5 + 299.0 * dice.share() * dice.share();
    const int order = 2 * (1 + dice.below(index % 5 == 0 ? 24 : 6));
    return {.cutoff = cutoff,
            .order = order,
            .bandwidth = has_band(form) ? cutoff * dice.share() : 0.0,
            .bandform = form};
}

FilterCoefficients designed(const ButterworthParameters& parameters) {
    FilterCoefficients filter;
    design_butterworth(compute_pass_order(parameters.order), compute_edges(parameters, 1000.0),
                       parameters.bandform, filter.b, filter.a);
    return filter;
}

void append_filter(std::ostream& line, Dice& dice, int index) {
    const FilterCoefficients filter = designed(any_filter(dice, index));
    std::vector<double> numbers = filter.b;
    numbers.insert(numbers.end(), filter.a.begin(), filter.a.end());
    const PreparedFilter prepared = prepare_filter(filter);
    numbers.insert(numbers.end(), prepared.steady_state.begin(), prepared.steady_state.end());
    for (double& number : numbers) { // of whose NaN nothing depends on the bits
        number = std::isnan(number) ? 0.0 : number;
    }
    line << ' ' << hash<double>(numbers);

    std::vector<float> samples = dice.samples(2 * LINE_LENGTH);
    if (index % 3 == 0) {
        samples[LINE_LENGTH / 2] = index % 2 == 0 ? INF : -INF;
    }
    if (index % 4 == 0) {
        samples[LINE_LENGTH + 400] = std::numeric_limits<float>::quiet_NaN();
    }
    SetFilter<float>().filter_in_place(samples, index % 2 == 0 ? LINE_LENGTH : LINE_LENGTH / 3,
                                       filter);
    line << ' ' << hash<float>(samples);
}

void append_statistics(std::ostream& line, Dice& dice, int index) {
    std::vector<float> samples = dice.samples(static_cast<std::size_t>(10 + dice.below(90)));
    for (float& sample : samples) {
        sample = index % 7 == 0 && dice.below(9) == 0 ? INF : sample;
        sample = index % 9 == 0 && dice.below(9) == 0 ? -INF : sample;
    }
    const std::span<const float> all = samples;
    const std::vector<float> results = {compute_signal_to_noise(all), mean(all), maximum(all),
                                        percentile(all.first(10), 50.0F), percentile(all, 30.0F)};
    line << ' ' << hash<float>(results);
}

std::string line_of_case(int index) {
    Dice dice(static_cast<std::uint64_t>(index));
    std::ostringstream line;
    line << index;
    append_filter(line, dice, index);
    append_statistics(line, dice, index);
    return line.str();
}

// Where the C library has no fused operations its functions round otherwise, and so do designs.
bool has_usual_functions() {
#if defined(_WIN32)
    return false;
#elif defined(__x86_64__)
    return __builtin_cpu_supports("fma") != 0;
#else
    return true;
#endif
}

TEST(ProcessorBits, AreThoseOfOtherArchitectures) {
    if (!has_usual_functions()) {
        GTEST_SKIP() << "this machine's exp, log, pow, sin, cos and tan round otherwise";
    }
    if (const char* const path = std::getenv("TALVORA_WRITE_BITS")) {
        std::ofstream file(path);
        for (int index = 0; index < CASE_COUNT; ++index) {
            file << line_of_case(index) << '\n';
        }
        return;
    }
    std::ifstream file(TALVORA_GOLDEN_DIR "/processor_bits.txt");
    int index = 0;
    for (std::string expected; std::getline(file, expected); ++index) {
        EXPECT_EQ(line_of_case(index), expected);
    }
    EXPECT_EQ(index, CASE_COUNT);
}

} // namespace
} // namespace talvora::dsp

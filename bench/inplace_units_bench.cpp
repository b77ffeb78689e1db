// How many samples a second the in-place units make on a tree in memory, next to the
// copies that the host cannot do without.
//
//     inplace_units_bench PLUGIN [ROUNDS]
//
// Two shapes of the same number of samples, for each of which every round runs every
// unit once, and memcpy of a line in and a line out for every line. The tree is made
// anew before each run, outside the time taken. One JSON line per unit and shape: the
// medians over the rounds, in samples a second of this thread's processor time.
// bench/peers/inplace_units_peer.py runs this program, does the same with NumPy and
// pandas on the same samples in turn, and prints the table.
#include "bench/timing.h"
#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace talvora::host;
using talvora::bench::median;
using talvora::bench::time_of;

constexpr std::uint64_t DOWNSAMPLE_FACTOR = 10;
constexpr int DEFAULT_ROUND_COUNT = 11;

struct Shape {
    std::uint64_t line_count;
    std::uint64_t line_length;

    std::uint64_t sample_count() const { return line_count * line_length; }
};
constexpr Shape SHAPES[] = {{64, 100'000}, {20'000, 320}};

// One unit with its parameters; `written_fraction` of what it reads it writes back.
struct Subject {
    const char* name;
    const char* unit;
    std::vector<std::string> parameters;
    std::uint64_t written_divisor;
    bool has_gaps;
};

const Subject SUBJECTS[] = {
    {"fill gap", "apply-set-fill-gap", {"SourceSets=x", "MaxGapLength=50"}, 1, true},
    {"baseline offset", "apply-set-baseline-offset", {"SourceSets=x"}, 1, false},
    {"downsample by 10",
     "apply-set-downsample",
     {"SourceSets=x", "HintGroup=Hint"},
     DOWNSAMPLE_FACTOR,
     false},
    {"opposite", "apply-set-opposite", {"SourceSets=x"}, 1, false},
};

std::vector<float> make_samples(std::uint64_t count) {
    std::vector<float> samples(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        samples[i] = static_cast<float>(i * 7919 % 10007) / 64.0F;
    }
    return samples;
}

// Bursts of 5 to 50 missing samples, each behind nineteen times as many valid ones.
void remove_bursts(std::vector<float>& samples) {
    std::uint64_t position = 0;
    for (std::uint64_t burst = 0;; ++burst) {
        const std::uint64_t length = 5 + burst * 17 % 46;
        position += 19 * length;
        if (position + length > samples.size()) {
            return;
        }
        std::fill_n(samples.begin() + static_cast<std::ptrdiff_t>(position), length,
                    std::numeric_limits<float>::quiet_NaN());
        position += length;
    }
}

void fill_tree(MemoryTree& tree, const Shape& shape, std::span<const float> samples) {
    const ObjectId set =
        tree.create_dataset(tree.root(), "x", {shape.line_count, shape.line_length});
    const std::vector<std::uint64_t> starts = {0, 0};
    tree.write(set, {starts, tree.extents(set)}, samples);
    tree.write_attribute(set, "SampleRate", static_cast<float>(DOWNSAMPLE_FACTOR));
    const ObjectId hint = tree.create_group(tree.root(), "Hint");
    tree.write_attribute(hint, "SampleRate", 1.0F);
}

double time_unit(const Unit& unit, const Subject& subject, const Shape& shape,
                 std::span<const float> samples) {
    MemoryTree tree;
    fill_tree(tree, shape, samples);
    const ParameterValues values = read_parameters(declare_unit(unit), subject.parameters);
    return time_of([&] {
        if (!run_unit(unit, tree, values, [](const Message&) {}).is_good()) {
            throw std::runtime_error(std::string(subject.unit) + " failed");
        }
    });
}

// The copies alone: each line into a buffer, what remains of it back.
double time_copies(const Subject& subject, const Shape& shape, std::vector<float> samples) {
    std::vector<float> line(shape.line_length);
    const std::uint64_t written = shape.line_length / subject.written_divisor;
    return time_of([&] {
        for (std::uint64_t i = 0; i < shape.line_count; ++i) {
            float* const place = samples.data() + i * shape.line_length;
            std::memcpy(line.data(), place, shape.line_length * sizeof(float));
            // The compiler must not see that nothing changes between the two.
            asm volatile("" : : "r"(line.data()) : "memory");
            std::memcpy(place, line.data(), written * sizeof(float));
        }
    });
}

struct Times {
    std::vector<double> unit;
    std::vector<double> copies;
};

void run_round(const PluginLibrary& plugin, const Shape& shape, std::vector<Times>& times) {
    const std::vector<float> whole = make_samples(shape.sample_count());
    std::vector<float> gappy = whole;
    remove_bursts(gappy);
    for (std::size_t i = 0; i < std::size(SUBJECTS); ++i) {
        const Subject& subject = SUBJECTS[i];
        const std::vector<float>& samples = subject.has_gaps ? gappy : whole;
        times[i].copies.push_back(time_copies(subject, shape, samples));
        times[i].unit.push_back(
            time_unit(*plugin.find_unit(subject.unit), subject, shape, samples));
    }
}

void print_times(const Shape& shape, const std::vector<Times>& times) {
    const auto count = static_cast<double>(shape.sample_count());
    for (std::size_t i = 0; i < std::size(SUBJECTS); ++i) {
        std::printf("{\"unit\": \"%s\", \"lines\": %llu, \"length\": %llu, \"memcpy\": %.6g, "
                    "\"talvora\": %.6g}\n",
                    SUBJECTS[i].name, static_cast<unsigned long long>(shape.line_count),
                    static_cast<unsigned long long>(shape.line_length),
                    count / median(times[i].copies), count / median(times[i].unit));
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: inplace_units_bench PLUGIN [ROUNDS]\n");
        return 2;
    }
    const PluginLibrary plugin(argv[1]);
    const int round_count = argc > 2 ? std::atoi(argv[2]) : DEFAULT_ROUND_COUNT;
    for (const Shape& shape : SHAPES) {
        std::vector<Times> times(std::size(SUBJECTS));
        for (int round = 0; round < round_count; ++round) {
            run_round(plugin, shape, times);
        }
        print_times(shape, times);
    }
}

// How many samples a second the units that summarise sets take in from a tree in
// memory, next to memcpy of the same samples.
//
//     aggregation_units_bench PLUGIN [ROUNDS]
//
// Every round runs every work on every shape in turn, so that what else the machine
// does meets all of them alike. The tree is made anew before each run, outside the time
// taken. One JSON line per work and shape: the median over the rounds, in samples a
// second of this thread's processor time. bench/peers/aggregation_units_peer.py runs
// this program in turn with NumPy and pandas on the same samples and prints the table.
#include "bench/timing.h"
#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace talvora;

constexpr int DEFAULT_ROUND_COUNT = 11;

struct Shape {
    const char* name;
    std::uint64_t line_count;
    std::uint64_t line_length;
};
constexpr Shape SHAPES[] = {{"64 x 100,000", 64, 100'000}, {"20,000 x 320", 20'000, 320}};
constexpr std::size_t SAMPLE_COUNT = 6'400'000;

// Whole numbers from 0 to 10,006 in 64ths, without a pattern in their order.
std::vector<float> make_samples() {
    std::vector<float> samples(SAMPLE_COUNT);
    for (std::uint64_t i = 0; i < SAMPLE_COUNT; ++i) {
        samples[i] = static_cast<float>(i * 7919 % 10007) / 64.0F;
    }
    return samples;
}

// The set has the attributes that an import gives it.
void fill_tree(host::MemoryTree& tree, const Shape& shape, std::span<const float> samples) {
    const host::Extents extents = {shape.line_count, 1, shape.line_length};
    const host::ObjectId set = tree.create_dataset(tree.root(), "Imu/Rate", extents);
    const std::vector<std::uint64_t> starts = {0, 0, 0};
    tree.write(set, {starts, extents}, samples);
    tree.write_attribute(set, "SampleRate", 100.0F);
    tree.write_attribute(set, "StartTime", 0.0F);
}

double time_unit(const host::Unit& unit, const char* destination, const Shape& shape,
                 std::span<const float> samples) {
    host::MemoryTree tree;
    fill_tree(tree, shape, samples);
    const std::vector<std::string> words = {"SourceGroup=Imu", destination};
    const auto values = host::read_parameters(host::declare_unit(unit), words);
    return bench::time_of([&] {
        if (!host::run_unit(unit, tree, values, [](const host::Message&) {}).is_good()) {
            throw std::runtime_error(unit.name + " failed");
        }
    });
}

// What the compiler must take for used.
void keep(const float* samples) {
    asm volatile("" : : "r"(samples) : "memory");
}

// The source as a whole into an array of its size that has been written before.
double time_memcpy(std::span<const float> samples) {
    std::vector<float> copy(samples.size());
    return bench::time_of([&] {
        std::memcpy(copy.data(), samples.data(), samples.size_bytes());
        keep(copy.data());
    });
}

// Line by line into the room of one line: the reads of the units, without what they do.
double time_memcpy_of_lines(const Shape& shape, std::span<const float> samples) {
    std::vector<float> line(shape.line_length);
    return bench::time_of([&] {
        for (std::uint64_t i = 0; i < shape.line_count; ++i) {
            std::memcpy(line.data(), samples.data() + i * shape.line_length,
                        shape.line_length * sizeof(float));
            keep(line.data());
        }
    });
}

struct Work {
    const char* name;
    std::function<double(const Shape&, std::span<const float>)> time;
};

std::vector<Work> make_works(const host::PluginLibrary& plugin) {
    const auto unit_work = [&plugin](const char* unit_name, const char* destination) {
        const host::Unit& unit = *plugin.find_unit(unit_name);
        return Work{unit_name,
                    [&unit, destination](const Shape& shape, std::span<const float> samples) {
                        return time_unit(unit, destination, shape, samples);
                    }};
    };
    return {
        {"memcpy",
         [](const Shape&, std::span<const float> samples) { return time_memcpy(samples); }},
        {"memcpy of lines", time_memcpy_of_lines},
        unit_work("average-set", "DestinationGroup=Out"),
        unit_work("average-set-2", "DestinationSet=Out"),
        unit_work("extract-set-maximum-extrema", "DestinationGroup=Out"),
    };
}

void print_speed(const Work& work, const Shape& shape, const std::vector<double>& seconds) {
    std::printf("{\"work\": \"%s\", \"shape\": \"%s\", \"samples_per_second\": %.6g}\n", work.name,
                shape.name, static_cast<double>(SAMPLE_COUNT) / bench::median(seconds));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: aggregation_units_bench PLUGIN [ROUNDS]\n");
        return 2;
    }
    const host::PluginLibrary plugin(argv[1]);
    const int round_count = argc > 2 ? std::atoi(argv[2]) : DEFAULT_ROUND_COUNT;
    const std::vector<Work> works = make_works(plugin);
    const std::vector<float> samples = make_samples();
    for (const Shape& shape : SHAPES) {
        std::vector<std::vector<double>> seconds(works.size());
        for (int round = 0; round < round_count; ++round) {
            for (std::size_t i = 0; i < works.size(); ++i) {
                seconds[i].push_back(works[i].time(shape, samples));
            }
        }
        for (std::size_t i = 0; i < works.size(); ++i) {
            print_speed(works[i], shape, seconds[i]);
        }
    }
}

// How many samples a second the units that read whole sets in batches make on a tree in
// memory: rectify next to three memcpy of the same bytes (in, transform, out), the
// Butterworth filter next to the filter alone and to two memcpy (in and out).
//
//     batched_units_bench PLUGIN [ROUNDS]
//
// Every round runs each once on each layout of 6,400,000 samples. The tree is made anew
// before each run, outside the time taken. Prints a table of medians over the rounds, in
// millions of samples a second of this thread's processor time.
#include "bench/timing.h"
#include "dsp/butterworth_design.h"
#include "dsp/filter_set.h"
#include "host/interface/unit_run.h"
#include "host/tree/memory_tree.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace talvora::host;
using talvora::bench::median;
using talvora::bench::time_of;

constexpr int DEFAULT_ROUND_COUNT = 11;
constexpr float SAMPLE_RATE = 1000.0F;
constexpr double CUTOFF_HZ = 50.0;

struct Layout {
    std::size_t set_count;
    Extents extents;
    std::size_t line_length;
};
const Layout LAYOUTS[] = {
    {64, {1, 1, 100'000}, 100'000},
    {1, {64, 1, 100'000}, 100'000},
    {1, {20'000, 1, 320}, 320},
};

constexpr std::size_t SAMPLE_COUNT = 6'400'000;

const std::vector<std::string> RECTIFY = {"SourceGroup=Sets"};
const std::vector<std::string> LOW_PASS = {"SourceGroup=Sets", "CutoffFrequency=50", "Order=4"};

std::vector<float> make_samples() {
    std::vector<float> samples(SAMPLE_COUNT);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<float>(i * 7919 % 10007) / 64.0F - 50.0F;
    }
    return samples;
}

void fill_tree(MemoryTree& tree, const Layout& layout, const std::vector<float>& samples) {
    const ObjectId group = tree.create_group(tree.root(), "Sets");
    const std::size_t set_size = SAMPLE_COUNT / layout.set_count;
    const Extents starts(layout.extents.size(), 0);
    for (std::size_t i = 0; i < layout.set_count; ++i) {
        const ObjectId set = tree.create_dataset(group, "set" + std::to_string(i), layout.extents);
        tree.write(set, {starts, layout.extents},
                   std::span(samples).subspan(i * set_size, set_size));
        tree.write_attribute(set, "SampleRate", SAMPLE_RATE);
    }
}

double time_unit(const PluginLibrary& plugin, const char* name,
                 const std::vector<std::string>& parameters, const Layout& layout,
                 const std::vector<float>& samples) {
    const Unit& unit = *plugin.find_unit(name);
    MemoryTree tree;
    fill_tree(tree, layout, samples);
    const ParameterValues values = read_parameters(declare_unit(unit), parameters);
    return time_of([&] {
        if (!run_unit(unit, tree, values, [](const Message&) {}).is_good()) {
            throw std::runtime_error(std::string(name) + " failed");
        }
    });
}

double time_filter(const Layout& layout, std::vector<float> samples) {
    const talvora::dsp::ButterworthParameters parameters{CUTOFF_HZ, 4, 0.0,
                                                         talvora::dsp::Bandform::ZeroLagLowPass};
    const float rates[] = {SAMPLE_RATE};
    const auto designs = talvora::dsp::build_design_cache(rates, parameters);
    return time_of([&] {
        talvora::dsp::SetFilter<float>().filter_in_place(samples, layout.line_length,
                                                         designs.at(SAMPLE_RATE));
    });
}

// The peer's arrays are touched beforehand, so that it pays for copying alone.
struct CopyRoom {
    std::vector<float> in = make_samples();
    std::vector<float> work = in;
    std::vector<float> out = in;
};

double time_copies(CopyRoom& room, int copy_count) {
    const float* const sources[] = {room.in.data(), room.work.data(), room.out.data()};
    float* const destinations[] = {room.work.data(), room.out.data(), room.in.data()};
    return time_of([&] {
        for (int i = 0; i < copy_count; ++i) {
            std::memcpy(destinations[i], sources[i], SAMPLE_COUNT * sizeof(float));
            asm volatile("" : : "r"(destinations[i]) : "memory");
        }
    });
}

struct Times {
    std::vector<double> rectify, low_pass, filter, two_copies, three_copies;
};

double speed(const std::vector<double>& times) {
    return static_cast<double>(SAMPLE_COUNT) / median(times) / 1e6;
}

void print_row(const Layout& layout, const Times& times) {
    std::printf("| %zu x [%llu, 1, %zu] | %.0f | %.0f | %.2f | %.0f | %.0f | %.0f | %.2f |\n",
                layout.set_count, static_cast<unsigned long long>(layout.extents[0]),
                layout.line_length, speed(times.rectify), speed(times.three_copies),
                speed(times.rectify) / speed(times.three_copies), speed(times.low_pass),
                speed(times.filter), speed(times.two_copies),
                speed(times.low_pass) / speed(times.filter));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: batched_units_bench PLUGIN [ROUNDS]\n");
        return 2;
    }
    const PluginLibrary plugin(argv[1]);
    const int round_count = argc > 2 ? std::atoi(argv[2]) : DEFAULT_ROUND_COUNT;
    const std::vector<float> samples = make_samples();
    CopyRoom room;
    std::puts("| sets | rectify | 3 x memcpy | of it | low pass | filter alone | 2 x memcpy | "
              "unit of filter |\n| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: |");
    for (const Layout& layout : LAYOUTS) {
        Times times;
        for (int round = 0; round < round_count; ++round) {
            times.three_copies.push_back(time_copies(room, 3));
            times.rectify.push_back(
                time_unit(plugin, "apply-set-rectify", RECTIFY, layout, samples));
            times.two_copies.push_back(time_copies(room, 2));
            times.low_pass.push_back(
                time_unit(plugin, "apply-set-butterworth", LOW_PASS, layout, samples));
            times.filter.push_back(time_filter(layout, samples));
        }
        print_row(layout, times);
    }
}

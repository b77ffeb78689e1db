// How fast the C library filters arrays, next to the loops that it is made of: floats and doubles,
// in place and into another array, along rows and along columns, by one worker and by two.
//
//     library_bench [ROUNDS]
//
// Every round does all kinds of work in all ways in turn. Time is that of the thread on the
// processor, with two workers that of the clock on the wall; the fastest of the rounds is shown, in
// millions of samples a second. The loops alone keep their memory from round to round, the library
// asks for it in each call. Samples are restored before each run, outside the time taken.
#include "bench/filter_works.h"
#include "bench/timing.h"
#include "dsp/filter_set.h"
#include "library/talvora/talvora.h"
#include "units/sample_buffer.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using namespace talvora;

const bench::SetShape SHAPES[] = {{64, 100'000}, {20'000, 320}, {192, 20'000}};
constexpr std::size_t MOST_SAMPLES = 6'400'000;

// In large pages, as in the units and in NumPy's arrays.
template <class Sample>
class Memory {
  public:
    std::span<Sample> first(std::size_t count) const {
        return {static_cast<Sample*>(static_cast<void*>(buffer_.samples().data())), count};
    }

  private:
    units::SampleBuffer buffer_{MOST_SAMPLES * sizeof(Sample) / sizeof(float)};
};

struct Call {
    std::int32_t axis = -1;
    std::int32_t workers = 1;
};

// Lines along the last axis, or along the first one of an array turned round.
template <class Sample>
void filter_by_library(std::span<Sample> in, std::span<Sample> out, const bench::SetShape& shape,
                       const Call& call) {
    const auto lines = static_cast<std::int64_t>(shape.line_count);
    const auto length = static_cast<std::int64_t>(shape.line_length);
    const std::int64_t rows[] = {lines, length};
    const std::int64_t columns[] = {length, lines};
    const talvora_type type = std::is_same_v<Sample, float> ? TALVORA_FLOAT32 : TALVORA_FLOAT64;
    const std::int64_t* const extents = call.axis == 0 ? columns : rows;
    const talvora_array from{sizeof from, in.data(), extents, nullptr, 2, type};
    const talvora_array to{sizeof to, out.data(), extents, nullptr, 2, type};
    talvora_filter_options options{};
    options.struct_size = sizeof options;
    options.axis = call.axis;
    options.workers = call.workers;
    char error[256];
    const auto& [b, a] = bench::LOW_PASS;
    if (talvora_filtfilt(b.data(), b.size(), a.data(), a.size(), &from, &to, &options, error,
                         sizeof error) != TALVORA_OK) {
        std::puts(error);
        std::exit(1);
    }
}

template <class Sample>
struct Way {
    std::string name;
    int workers;
    // In place in the first, or from the second to the first.
    std::function<void(std::span<Sample>, std::span<Sample>, const bench::SetShape&)> run;
};

template <class Sample>
std::vector<Way<Sample>> make_ways(dsp::SetFilter<Sample>& loops) {
    using Samples = std::span<Sample>;
    const auto in_place = [](Call call) {
        return [call](Samples out, Samples, const bench::SetShape& shape) {
            filter_by_library(out, out, shape, call);
        };
    };
    const auto apart = [](Call call) {
        return [call](Samples out, Samples in, const bench::SetShape& shape) {
            filter_by_library(in, out, shape, call);
        };
    };
    const auto filter = [&loops](Samples out, const bench::SetShape& shape) {
        loops.filter_in_place(out, shape.line_length, bench::LOW_PASS);
    };
    return {
        {"loops", 1,
         [filter](Samples out, Samples, const bench::SetShape& shape) { filter(out, shape); }},
        {"in place", 1, in_place({})},
        {"2 workers", 2, in_place({-1, 2})},
        {"memcpy, loops", 1,
         [filter](Samples out, Samples in, const bench::SetShape& shape) {
             std::ranges::copy(in, out.begin());
             filter(out, shape);
         }},
        {"apart", 1, apart({})},
        {"2 workers", 2, apart({-1, 2})},
        {"columns", 1, in_place({0, 1})},
        {"2 workers", 2, in_place({0, 2})},
    };
}

template <class Work>
double seconds_of(int workers, Work work) {
    if (workers == 1) {
        return bench::time_of(work);
    }
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class Sample>
void print_table(const char* title, int round_count) {
    const std::vector<float> values = bench::random_samples(MOST_SAMPLES);
    const Memory<Sample> in_memory;
    const Memory<Sample> out_memory;
    dsp::SetFilter<Sample> loops;
    const std::vector<Way<Sample>> ways = make_ways(loops);
    std::map<std::pair<std::size_t, std::size_t>, double> best;
    for (int round = 0; round <= round_count; ++round) { // the first one meets fresh memory
        for (std::size_t s = 0; s < std::size(SHAPES); ++s) {
            const std::size_t count = SHAPES[s].line_count * SHAPES[s].line_length;
            const std::span<Sample> in = in_memory.first(count);
            const std::span<Sample> out = out_memory.first(count);
            std::copy_n(values.begin(), count, in.begin());
            for (std::size_t w = 0; w < ways.size(); ++w) {
                std::copy_n(values.begin(), count, out.begin());
                const double seconds =
                    seconds_of(ways[w].workers, [&] { ways[w].run(out, in, SHAPES[s]); });
                double& fastest = best.try_emplace({s, w}, seconds).first->second;
                fastest = std::min(fastest, seconds);
            }
        }
    }
    std::printf("%-16s", title);
    for (const Way<Sample>& way : ways) {
        std::printf(" %14s", way.name.c_str());
    }
    for (std::size_t s = 0; s < std::size(SHAPES); ++s) {
        const auto& [line_count, line_length] = SHAPES[s];
        std::printf("\n%6llu x %-7llu", static_cast<unsigned long long>(line_count),
                    static_cast<unsigned long long>(line_length));
        for (std::size_t w = 0; w < ways.size(); ++w) {
            std::printf(" %14.0f",
                        static_cast<double>(line_count * line_length) / best[{s, w}] / 1e6);
        }
    }
    std::printf("\n");
}

void print_shortest_call(int round_count) {
    std::vector<double> samples(100, 1.0);
    double best = std::numeric_limits<double>::infinity();
    for (int round = 0; round < 100 * round_count; ++round) {
        best = std::min(best, seconds_of(1, [&] {
                            filter_by_library<double>(samples, samples, {1, 100}, {});
                        }));
    }
    std::printf("a call on 100 doubles: %.1f microseconds\n", best * 1e6);
}

} // namespace

int main(int argc, char** argv) {
    const int round_count = argc > 1 ? std::stoi(argv[1]) : 5;
    print_table<float>("floats", round_count);
    print_table<double>("doubles", round_count);
    print_shortest_call(round_count);
}

// How many samples a second zero-phase filtering makes: floats in, floats out, in
// place, both passes, one thread.
//
//     zero_phase_filter_bench [--json] [ROUNDS]
//
// Every round runs every path on every kind of work in turn, and copies the same bytes
// with memcpy, so that what else the machine does meets all of them alike; the median
// over the rounds is shown in millions of samples a second. A time counts if the processor was
// quiet before and after it (see QuietCheck). The samples are restored
// before each run, outside the time taken, which leaves the caches warm.
// bench/peers/zero_phase_filter_peer.py does the same work with SciPy.
#include "bench/timing.h"
#include "dsp/filter_set.h"
#include "dsp/missing_samples.h"
#include "units/sample_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace talvora;

// scipy.signal.butter(2, 0.1) and butter(4, [0.1, 0.3], "bandpass")
const dsp::FilterCoefficients LOW_PASS = {
    {0.020083365564211232, 0.040166731128422464, 0.020083365564211232},
    {1.0, -1.5610180758007182, 0.6413515380575631}};
const dsp::FilterCoefficients BAND_PASS = {
    {0.0048243433577162325, 0.0, -0.01929737343086493, 0.0, 0.028946060146297393, 0.0,
     -0.01929737343086493, 0.0, 0.0048243433577162325},
    {1.0, -5.418231388368234, 13.529358698329691, -20.319265119781697, 20.071198861161175,
     -13.34437166183811, 5.8321067702203635, -1.5347300466579012, 0.1873794923681849}};

// The generator of Steele, Lea and Flood ("Fast splittable pseudorandom number
// generators", 2014) by position, so that the peer makes the same samples.
std::uint64_t random_word(std::uint64_t position) {
    std::uint64_t word = (position + 1) * 0x9E3779B97F4A7C15U;
    word = (word ^ (word >> 30U)) * 0xBF58476D1CE4E5B9U;
    word = (word ^ (word >> 27U)) * 0x94D049BB133111EBU;
    return word ^ (word >> 31U);
}

// From -1 to 1 in steps of 2^-23.
float random_sample(std::uint64_t position) {
    return static_cast<float>(random_word(position) >> 40U) * 0x1p-23F - 1.0F;
}

struct Work {
    std::string name;
    std::vector<float> samples;
    std::size_t line_length;
    const dsp::FilterCoefficients& filter;
    std::size_t lines_per_set = 0; // 0: all lines are of one set
};

std::vector<float> random_samples(std::size_t count) {
    std::vector<float> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = random_sample(i);
    }
    return samples;
}

// Gaps of 50 samples between runs of 200 to 1699: one sample in twenty is missing.
std::vector<float> samples_with_bursts(std::size_t count) {
    std::vector<float> samples = random_samples(count);
    for (std::size_t i = 0, burst = 0; i + 50 < count; ++burst) {
        i += 200 + random_word(burst) % 1500;
        for (const std::size_t end = std::min(i + 50, count); i < end; ++i) {
            samples[i] = dsp::MISSING_SAMPLE;
        }
    }
    return samples;
}

std::vector<float> samples_that_fall_silent(std::size_t line_count, std::size_t line_length) {
    std::vector<float> samples = random_samples(line_count * line_length);
    for (std::size_t line = 0; line < line_count; ++line) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(line * line_length);
        std::fill(begin + static_cast<std::ptrdiff_t>(line_length / 10),
                  begin + static_cast<std::ptrdiff_t>(line_length), 0.0F);
    }
    return samples;
}

std::vector<Work> make_works() {
    return {
        {"64 x 100,000", random_samples(6'400'000), 100'000, LOW_PASS},
        {"20,000 x 320", random_samples(6'400'000), 320, LOW_PASS},
        {"64 x 100,000, bursts missing", samples_with_bursts(6'400'000), 100'000, LOW_PASS},
        {"1 x 6,400,000", random_samples(6'400'000), 6'400'000, LOW_PASS},
        {"64 x 100,000, band pass", random_samples(6'400'000), 100'000, BAND_PASS},
        {"64 x 100,000, silent", samples_that_fall_silent(64, 100'000), 100'000, LOW_PASS},
        {"64 sets of 1 x 100,000", random_samples(6'400'000), 100'000, LOW_PASS, 1},
        {"64 sets of 1 x 100,000, silent", samples_that_fall_silent(64, 100'000), 100'000, LOW_PASS,
         1},
    };
}

void filter_sets(dsp::SetFilter& filter, std::span<float> samples, const Work& work) {
    const std::size_t set_size =
        work.lines_per_set == 0 ? samples.size() : work.lines_per_set * work.line_length;
    for (; samples.size() >= set_size && !samples.empty(); samples = samples.subspan(set_size)) {
        filter.add(samples.first(set_size), work.line_length, work.filter);
    }
    filter.finish();
}

struct Path {
    std::string name;
    std::function<void(std::span<float>, const Work&)> run;
};

std::vector<Path> make_paths() {
    std::vector<Path> paths;
    paths.push_back({"memcpy", [](std::span<float> samples, const Work& work) {
                         std::memcpy(samples.data(), work.samples.data(), samples.size_bytes());
                     }});
    const auto add = [&](const char* name, dsp::FilterPath path) {
        paths.push_back({name, [filter = std::make_shared<dsp::SetFilter>(path)](
                                   std::span<float> samples, const Work& work) {
                             filter_sets(*filter, samples, work);
                         }});
    };
    add("Plain", dsp::FilterPath::Plain);
    for (const dsp::LanePath& path : dsp::lane_paths()) {
        if (path.can_be_taken()) {
            add(path.name, path.path);
        }
    }
    return paths;
}

double megasamples_per_second(const Path& path, const Work& work, std::span<float> samples,
                              bench::QuietCheck& check) {
    const double seconds = bench::quiet_time_of(
        check, [&] { std::ranges::copy(work.samples, samples.begin()); },
        [&] { path.run(samples, work); });
    return static_cast<double>(samples.size()) / seconds / 1e6;
}

using Speeds = std::map<std::string, std::map<std::string, std::vector<double>>>;

void print_table(const std::vector<Work>& works, const std::vector<Path>& paths, Speeds& speeds) {
    std::printf("%-30s", "million samples a second");
    for (const Path& path : paths) {
        std::printf(" %8s", path.name.c_str());
    }
    for (const Work& work : works) {
        std::printf("\n%-30s", work.name.c_str());
        for (const Path& path : paths) {
            std::printf(" %8.0f", bench::median(speeds[work.name][path.name]));
        }
    }
    std::printf("\n");
}

void print_json(const std::vector<Work>& works, const std::vector<Path>& paths, Speeds& speeds) {
    for (const Work& work : works) {
        std::printf("{\"work\": \"%s\"", work.name.c_str());
        for (const Path& path : paths) {
            std::printf(", \"%s\": %.1f", path.name.c_str(),
                        bench::median(speeds[work.name][path.name]));
        }
        std::printf("}\n");
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    const bool json = std::ranges::count(arguments, "--json") != 0;
    int round_count = 5;
    if (!arguments.empty() && arguments.back() != "--json") {
        round_count = std::stoi(std::string(arguments.back()));
    }
    const std::vector<Work> works = make_works();
    const std::vector<Path> paths = make_paths();
    // In large pages, as in the units and in NumPy's arrays.
    const units::SampleBuffer buffer(works.front().samples.size());
    bench::QuietCheck check;
    Speeds speeds;
    for (int round = 0; round <= round_count; ++round) {
        for (const Work& work : works) {
            for (const Path& path : paths) {
                const double speed = megasamples_per_second(path, work, buffer.samples(), check);
                if (round > 0) { // the first one meets memory that was never touched
                    speeds[work.name][path.name].push_back(speed);
                }
            }
        }
    }
    (json ? print_json : print_table)(works, paths, speeds);
}

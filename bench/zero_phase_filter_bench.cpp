// How many samples a second zero-phase filtering makes: floats in, floats out, in
// place, both passes, one thread.
//
//     zero_phase_filter_bench [--json] [ROUNDS]
//
// Every round runs every path on every kind of work in turn, and copies the same bytes
// with memcpy, so that what else the machine does meets all of them alike; the median
// over the rounds is shown in millions of samples a second. A time counts if the processor was
// quiet before and after it (see QuietCheck); 0 stands where it never was. The samples are restored
// before each run, outside the time taken, which leaves the caches warm.
// bench/peers/zero_phase_filter_peer.py does the same work with SciPy.
#include "bench/filter_works.h"
#include "bench/timing.h"
#include "dsp/filter_set.h"
#include "units/sample_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace talvora;
using bench::FilterWork;

std::vector<FilterWork> make_works() {
    using namespace bench;
    return {
        {"64 x 100,000", random_samples(6'400'000), {{64, 100'000}}},
        {"20,000 x 320", random_samples(6'400'000), {{20'000, 320}}},
        {"64 x 100,000, bursts missing", samples_with_bursts(6'400'000), {{64, 100'000}}},
        {"1 x 6,400,000", random_samples(6'400'000), {{1, 6'400'000}}},
        {"64 x 100,000, band pass", random_samples(6'400'000), {{64, 100'000}}, BAND_PASS},
        {"64 x 100,000, silent", samples_that_fall_silent(64, 100'000), {{64, 100'000}}},
        {"64 sets of 1 x 100,000", random_samples(6'400'000), sets_of_one_shape(64, {1, 100'000})},
        {"64 sets of 1 x 100,000, silent", samples_that_fall_silent(64, 100'000),
         sets_of_one_shape(64, {1, 100'000})},
    };
}

void filter_sets(dsp::SetFilter<float>& filter, std::span<float> samples, const FilterWork& work) {
    for (const bench::SetShape& set : work.sets) {
        const std::uint64_t sample_count = set.line_count * set.line_length;
        filter.add(samples.first(sample_count), set.line_length, work.filter);
        samples = samples.subspan(sample_count);
    }
    filter.finish();
}

struct Path {
    std::string name;
    std::function<void(std::span<float>, const FilterWork&)> run;
};

std::vector<Path> make_paths() {
    std::vector<Path> paths;
    paths.push_back({"memcpy", [](std::span<float> samples, const FilterWork& work) {
                         std::memcpy(samples.data(), work.samples.data(), samples.size_bytes());
                     }});
    const auto add = [&](const char* name, dsp::FilterPath path) {
        paths.push_back({name, [filter = std::make_shared<dsp::SetFilter<float>>(path)](
                                   std::span<float> samples, const FilterWork& work) {
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

std::optional<double> megasamples_per_second(const Path& path, const FilterWork& work,
                                             std::span<float> samples, bench::QuietCheck& check) {
    const std::optional<double> seconds = bench::quiet_time_of(
        check, [&] { std::ranges::copy(work.samples, samples.begin()); },
        [&] { path.run(samples, work); });
    return seconds ? std::optional(static_cast<double>(samples.size()) / *seconds / 1e6)
                   : std::nullopt;
}

using Speeds = std::map<std::string, std::map<std::string, std::vector<double>>>;

void print_table(const std::vector<FilterWork>& works, const std::vector<Path>& paths,
                 Speeds& speeds) {
    std::printf("%-30s", "million samples a second");
    for (const Path& path : paths) {
        std::printf(" %8s", path.name.c_str());
    }
    for (const FilterWork& work : works) {
        std::printf("\n%-30s", work.name.c_str());
        for (const Path& path : paths) {
            const std::vector<double>& quiet = speeds[work.name][path.name];
            std::printf(" %8.0f", quiet.empty() ? 0.0 : bench::median(quiet));
        }
    }
    std::printf("\n");
}

void print_json(const std::vector<FilterWork>& works, const std::vector<Path>& paths,
                Speeds& speeds) {
    for (const FilterWork& work : works) {
        std::printf("{\"work\": \"%s\"", work.name.c_str());
        for (const Path& path : paths) {
            const std::vector<double>& quiet = speeds[work.name][path.name];
            if (!quiet.empty()) {
                std::printf(", \"%s\": %.1f", path.name.c_str(), bench::median(quiet));
            }
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
    const std::vector<FilterWork> works = make_works();
    const std::vector<Path> paths = make_paths();
    // In large pages, as in the units and in NumPy's arrays.
    const units::SampleBuffer buffer(works.front().samples.size());
    bench::QuietCheck check;
    Speeds speeds;
    for (int round = 0; round <= round_count; ++round) {
        for (const FilterWork& work : works) {
            for (const Path& path : paths) {
                const std::optional<double> speed =
                    megasamples_per_second(path, work, buffer.samples(), check);
                if (round > 0 && speed) { // the first one meets memory that was never touched
                    speeds[work.name][path.name].push_back(*speed);
                }
            }
        }
    }
    (json ? print_json : print_table)(works, paths, speeds);
}

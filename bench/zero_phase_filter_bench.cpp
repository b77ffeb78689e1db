// How many samples a second zero-phase filtering makes: floats in, floats out, in
// place, both passes, one thread; and doubles where a work says so.
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

struct Work : FilterWork {
    bool of_doubles = false; // which are the same numbers
};

std::vector<Work> make_works() {
    using namespace bench;
    return {
        {{"64 x 100,000", random_samples(6'400'000), {{64, 100'000}}}},
        {{"20,000 x 320", random_samples(6'400'000), {{20'000, 320}}}},
        {{"64 x 100,000, bursts missing", samples_with_bursts(6'400'000), {{64, 100'000}}}},
        {{"1 x 6,400,000", random_samples(6'400'000), {{1, 6'400'000}}}},
        {{"64 x 100,000, band pass", random_samples(6'400'000), {{64, 100'000}}, BAND_PASS}},
        {{"64 x 100,000, silent", samples_that_fall_silent(64, 100'000), {{64, 100'000}}}},
        {{"64 sets of 1 x 100,000", random_samples(6'400'000),
          sets_of_one_shape(64, {1, 100'000})}},
        {{"64 sets of 1 x 100,000, silent", samples_that_fall_silent(64, 100'000),
          sets_of_one_shape(64, {1, 100'000})}},
        {{"64 x 100,000, doubles", random_samples(6'400'000), {{64, 100'000}}}, true},
        {{"20,000 x 320, doubles", random_samples(6'400'000), {{20'000, 320}}}, true},
        {{"192 x 20,000, doubles", random_samples(3'840'000), {{192, 20'000}}}, true},
        {{"64 x 100,000, band pass, doubles",
          random_samples(6'400'000),
          {{64, 100'000}},
          BAND_PASS},
         true},
    };
}

// One way to filter, or to copy.
class Path {
  public:
    explicit Path(const char* name) : name_(name) {}
    Path(const char* name, dsp::FilterPath path)
        : name_(name), of_floats_(std::make_shared<dsp::SetFilter<float>>(path)),
          of_doubles_(std::make_shared<dsp::SetFilter<double>>(path)) {}

    const std::string& name() const { return name_; }

    void run(std::span<float> samples, std::span<const float> original, const Work& work) const {
        run(of_floats_.get(), samples, original, work);
    }
    void run(std::span<double> samples, std::span<const double> original, const Work& work) const {
        run(of_doubles_.get(), samples, original, work);
    }

  private:
    template <class Sample>
    static void run(dsp::SetFilter<Sample>* filter, std::span<Sample> samples,
                    std::span<const Sample> original, const Work& work) {
        if (filter == nullptr) {
            std::memcpy(samples.data(), original.data(), samples.size_bytes());
            return;
        }
        for (const bench::SetShape& set : work.sets) {
            const std::uint64_t sample_count = set.line_count * set.line_length;
            filter->add(samples.first(sample_count), set.line_length, work.filter);
            samples = samples.subspan(sample_count);
        }
        filter->finish();
    }

    std::string name_;
    std::shared_ptr<dsp::SetFilter<float>> of_floats_; // none copies
    std::shared_ptr<dsp::SetFilter<double>> of_doubles_;
};

std::vector<Path> make_paths() {
    std::vector<Path> paths = {Path("memcpy"), Path("Plain", dsp::FilterPath::Plain)};
    for (const dsp::LanePath& path : dsp::lane_paths()) {
        if (path.can_be_taken()) {
            paths.emplace_back(path.name, path.path);
        }
    }
    return paths;
}

template <class Sample>
std::optional<double>
megasamples_per_second(const Path& path, const Work& work, std::span<Sample> samples,
                       std::span<const Sample> original, bench::QuietCheck& check) {
    const std::optional<double> seconds = bench::quiet_time_of(
        check, [&] { std::ranges::copy(original, samples.begin()); },
        [&] { path.run(samples, original, work); });
    return seconds ? std::optional(static_cast<double>(samples.size()) / *seconds / 1e6)
                   : std::nullopt;
}

// All paths in turn.
template <class Sample, class Visit>
void measure(const std::vector<Path>& paths, const Work& work, Sample* memory,
             bench::QuietCheck& check, Visit visit) {
    const std::vector<Sample> original(work.samples.begin(), work.samples.end());
    const std::span<Sample> samples(memory, original.size());
    for (const Path& path : paths) {
        visit(path, megasamples_per_second<Sample>(path, work, samples, original, check));
    }
}

using Speeds = std::map<std::string, std::map<std::string, std::vector<double>>>;

void print_table(const std::vector<Work>& works, const std::vector<Path>& paths, Speeds& speeds) {
    std::printf("%-32s", "million samples a second");
    for (const Path& path : paths) {
        std::printf(" %8s", path.name().c_str());
    }
    for (const Work& work : works) {
        std::printf("\n%-32s", work.name.c_str());
        for (const Path& path : paths) {
            const std::vector<double>& quiet = speeds[work.name][path.name()];
            std::printf(" %8.0f", quiet.empty() ? 0.0 : bench::median(quiet));
        }
    }
    std::printf("\n");
}

void print_json(const std::vector<Work>& works, const std::vector<Path>& paths, Speeds& speeds) {
    for (const Work& work : works) {
        std::printf("{\"work\": \"%s\"", work.name.c_str());
        for (const Path& path : paths) {
            const std::vector<double>& quiet = speeds[work.name][path.name()];
            if (!quiet.empty()) {
                std::printf(", \"%s\": %.1f", path.name().c_str(), bench::median(quiet));
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
    const std::vector<Work> works = make_works();
    const std::vector<Path> paths = make_paths();
    // In large pages, as in the units and in NumPy's arrays: room for as many doubles.
    const units::SampleBuffer buffer(2 * works.front().samples.size());
    float* const floats = buffer.samples().data();
    bench::QuietCheck check;
    Speeds speeds;
    for (int round = 0; round <= round_count; ++round) {
        for (const Work& work : works) {
            const auto keep = [&](const Path& path, std::optional<double> speed) {
                if (round > 0 && speed) { // the first one meets memory that was never touched
                    speeds[work.name][path.name()].push_back(*speed);
                }
            };
            if (work.of_doubles) {
                measure(paths, work, reinterpret_cast<double*>(floats), check, keep);
            } else {
                measure(paths, work, floats, check, keep);
            }
        }
    }
    (json ? print_json : print_table)(works, paths, speeds);
}

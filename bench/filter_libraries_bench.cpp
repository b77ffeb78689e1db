// The filter loops of two libraries next to each other, path by path, on the same samples.
//
//     filter_libraries_bench BEFORE AFTER [ROUNDS [WORD]]
//
// Of works, those whose names hold WORD. Every round runs both libraries in turn, a path after the
// other; a time counts if the processor was quiet before and after it (see QuietCheck). One JSON
// line per work and path: the medians over the rounds in millions of samples a second of processor
// time, how many rounds were quiet, and whether both libraries left the same bits.
// scripts/bench-filter makes the libraries and prints the table.
#include "bench/filter_library.h"
#include "bench/timing.h"
#include "units/sample_buffer.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace talvora;
using bench::FilterWork;

// Without the plain one, which is the definition: nobody asks for its speed.
constexpr const char* PATHS[] = {"SSE2", "AVX2", "AVX-512"};

std::vector<FilterWork> make_works() {
    using namespace bench;
    return {
        {"64 x 100,000", random_samples(6'400'000), {{64, 100'000}}},
        {"20,000 x 320", random_samples(6'400'000), {{20'000, 320}}},
        {"64 x 320, in the cache", random_samples(20'480), {{64, 320}}, LOW_PASS, 300},
        {"64 x 100,000, bursts missing", samples_with_bursts(6'400'000), {{64, 100'000}}},
        {"1 x 6,400,000", random_samples(6'400'000), {{1, 6'400'000}}},
        {"64 x 100,000, band pass", random_samples(6'400'000), {{64, 100'000}}, BAND_PASS},
        {"1 x 6,400,000, band pass", random_samples(6'400'000), {{1, 6'400'000}}, BAND_PASS},
        {"64 x 100,000, silent after a tenth",
         samples_that_fall_silent(64, 100'000),
         {{64, 100'000}}},
        {"1 set of 192 x 20,000", random_samples(3'840'000), {{192, 20'000}}},
        {"64 sets of 3 x 20,000", random_samples(3'840'000), sets_of_one_shape(64, {3, 20'000})},
        {"192 sets of 1 x 20,000", random_samples(3'840'000), sets_of_one_shape(192, {1, 20'000})},
        work_of_unlike_lines("192 sets of 1 x 15,000 to 30,000", 192, 15'000),
    };
}

class FilterLibrary {
  public:
    explicit FilterLibrary(const char* file) : library_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
        if (library_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
        find(MAKE_FILTER, make_filter_);
        find(FREE_FILTER, free_filter_);
        find(FILTER_SETS, filter_sets_);
    }
    FilterLibrary(const FilterLibrary&) = delete;
    FilterLibrary& operator=(const FilterLibrary&) = delete;
    ~FilterLibrary() {
        free_filter_(filter_);
        dlclose(library_);
    }

    bool take_path(const char* name) {
        free_filter_(filter_);
        filter_ = make_filter_(name);
        return filter_ != nullptr;
    }

    void run(const FilterWork& work, std::span<float> samples) const {
        for (int i = 0; i < work.repeat_count; ++i) {
            if (i > 0) {
                std::ranges::copy(work.samples, samples.begin());
            }
            filter_sets_(filter_, samples.data(), work.sets.data(), work.sets.size(), &work.filter);
        }
    }

  private:
    template <class Function>
    void find(const char* name, Function*& function) const {
        function = reinterpret_cast<Function*>(dlsym(library_, name));
        if (function == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }

    void* library_;
    make_filter_function* make_filter_ = nullptr;
    free_filter_function* free_filter_ = nullptr;
    filter_sets_function* filter_sets_ = nullptr;
    void* filter_ = nullptr;
};

using Libraries = std::array<FilterLibrary*, 2>;

struct Comparison {
    std::array<std::vector<double>, 2> speeds; // of the quiet rounds
    bool same_bits = true;
};

Comparison compare(const Libraries& libraries, const FilterWork& work, std::span<float> samples,
                   bench::QuietCheck& check, int round_count) {
    Comparison comparison;
    std::vector<float> results;
    for (int round = -1; round < round_count; ++round) {
        for (std::size_t i = 0; i < libraries.size(); ++i) {
            const std::optional<double> seconds = bench::quiet_time_of(
                check, [&] { std::ranges::copy(work.samples, samples.begin()); },
                [&] { libraries[i]->run(work, samples); });
            // The first round meets memory that was never touched, and tells whether they agree.
            if (round >= 0 && seconds) {
                const auto count = static_cast<double>(work.samples.size()) * work.repeat_count;
                comparison.speeds[i].push_back(count / *seconds / 1e6);
            } else if (round < 0 && i == 0) {
                results.assign(samples.begin(), samples.end());
            } else if (round < 0) {
                comparison.same_bits =
                    std::memcmp(results.data(), samples.data(), samples.size_bytes()) == 0;
            }
        }
    }
    return comparison;
}

void print(const FilterWork& work, const char* path, const Comparison& comparison) {
    const auto& [before, after] = comparison.speeds;
    std::printf("{\"work\": \"%s\", \"path\": \"%s\", \"same_bits\": %s, \"quiet_rounds\": [%zu, "
                "%zu]",
                work.name.c_str(), path, comparison.same_bits ? "true" : "false", before.size(),
                after.size());
    if (!before.empty() && !after.empty()) {
        std::printf(", \"before\": %.1f, \"after\": %.1f", bench::median(before),
                    bench::median(after));
    }
    std::printf("}\n");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: filter_libraries_bench BEFORE AFTER [ROUNDS [WORD]]\n");
        return 2;
    }
    FilterLibrary before(argv[1]);
    FilterLibrary after(argv[2]);
    const int round_count = argc > 3 ? std::stoi(argv[3]) : 5;
    const std::string_view word = argc > 4 ? argv[4] : "";
    bench::QuietCheck check;
    for (const FilterWork& work : make_works()) {
        if (work.name.find(word) == std::string::npos) {
            continue;
        }
        // In large pages, as in the units.
        const units::SampleBuffer buffer(work.samples.size());
        for (const char* path : PATHS) {
            if (before.take_path(path) && after.take_path(path)) {
                print(work, path,
                      compare({&before, &after}, work, buffer.samples(), check, round_count));
            }
        }
    }
}

// What benchmarks measure with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>
#include <optional>
#include <vector>

namespace talvora::bench {

// Time on the processor: what other programs take of it does not count.
inline double thread_seconds() {
    std::timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

template <typename Work>
double time_of(Work&& work) {
    const double start = thread_seconds();
    work();
    return thread_seconds() - start;
}

// Tells when the processor is slowed down by something else: two programs on one core share what
// issues instructions, cores of one module their arithmetic units, and a hot one its frequency. A
// loop of `nop`s and one of vector additions take the same time whenever nothing does.
class QuietCheck {
  public:
    // Whether both loops, run now, take no longer than the best of all checks so far, and a little.
    bool is_quiet() {
        const bool issues_freely = is_best(best_nops_, time_of(run_nops));
        const bool adds_freely = is_best(best_additions_, time_of(add_vectors));
        return issues_freely && adds_freely;
    }

  private:
    static constexpr double MOST_OF_BEST = 1.06;
    static constexpr int LOOP_COUNT = 60'000;

    static bool is_best(double& best, double seconds) {
        best = std::min(best, seconds);
        return seconds <= MOST_OF_BEST * best;
    }
    static void run_nops() {
        for (int i = 0; i < LOOP_COUNT; ++i) {
            __asm__ volatile("nop; nop; nop; nop; nop; nop; nop; nop;"
                             "nop; nop; nop; nop; nop; nop; nop; nop");
        }
    }
    static void add_vectors() {
        using Vector = double __attribute__((vector_size(16)));
        Vector sums[4] = {};
        for (int i = 0; i < LOOP_COUNT; ++i) {
            for (Vector& sum : sums) {
                sum += 1.0;
                __asm__ volatile("" : "+m"(sum)); // each addition is made
            }
        }
    }

    double best_nops_ = std::numeric_limits<double>::infinity();
    double best_additions_ = std::numeric_limits<double>::infinity();
};

// The seconds that `work` takes after `prepare` when the machine is quiet before it and after it;
// nothing when it was not in ten tries.
template <typename Prepare, typename Work>
std::optional<double> quiet_time_of(QuietCheck& check, Prepare&& prepare, Work&& work) {
    constexpr int MOST_TRIES = 10;
    for (int i = 0; i < MOST_TRIES; ++i) {
        prepare();
        const bool was_quiet = check.is_quiet();
        const double seconds = time_of(work);
        if (check.is_quiet() && was_quiet) {
            return seconds;
        }
    }
    return std::nullopt;
}

// Of an even number of values, the upper one of the two in the middle.
inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

} // namespace talvora::bench

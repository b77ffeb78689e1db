#include "host/filters/known_units.h"
#include "host/filters/rate_changes.h"
#include "host/filters/step_sources.h"
#include "host/guards/guard_functions.h"
#include "host/tree/rate_tolerance.h"

#include <fmt/format.h>

#include <cmath>
#include <set>

namespace talvora::host {
namespace {

double count_seconds(const TimeBase& base) {
    return static_cast<double>(base.sample_count) / base.rate;
}

bool is_rate(double rate) {
    return std::isfinite(rate) && rate > 0.0;
}

// Of a set of few samples a duration tells nothing.
bool has_rate_of_kept(const RateChange& change) {
    if (change.stride == 0 || change.before.sample_count < 2) {
        return true;
    }
    const double rate = change.before.rate / static_cast<double>(change.stride);
    return std::abs(change.after.rate - rate) <= RATE_TOLERANCE * rate;
}

// The last sample that is kept may stand for less than a whole period.
bool is_same_time(const RateChange& change) {
    const double before = count_seconds(change.before);
    return has_rate_of_kept(change) && std::abs(count_seconds(change.after) - before) <=
                                           RATE_TOLERANCE * before + 1.0 / change.after.rate;
}

std::string describe(const TimeBase& base) {
    return fmt::format("{} samples at {:.6g} Hz, {:.6g} s", base.sample_count, base.rate,
                       count_seconds(base));
}

// Every k-th sample is a k-th of the rate.
std::string find_remedy(const RateChange& change, bool of_one_rate) {
    if (!of_one_rate) {
        return SET_BY_SET_REMEDY;
    }
    if (change.after.sample_count == 0) {
        return "a hint of a higher rate leaves samples";
    }
    const double kept = std::round(static_cast<double>(change.before.sample_count) /
                                   static_cast<double>(change.after.sample_count));
    return fmt::format("a hint that divides {:.6g} Hz, such as {:.6g} Hz, keeps the time",
                       change.before.rate, change.before.rate / kept);
}

nlohmann::ordered_json make_numbers(const RateChange& change) {
    const TimeBase& before = change.before;
    const TimeBase& after = change.after;
    return {{"samples_before", before.sample_count},
            {"rate_before", before.rate},
            {"seconds_before", count_seconds(before)},
            {"samples_after", after.sample_count},
            {"rate_after", after.rate},
            {"seconds_after", count_seconds(after)}};
}

std::vector<GuardFinding> judge(const std::vector<RateChange>& changes) {
    std::set<double> rates;
    for (const RateChange& change : changes) {
        rates.insert(change.before.rate);
    }
    std::vector<GuardFinding> found;
    for (const RateChange& change : changes) {
        if (is_rate(change.before.rate) && is_rate(change.after.rate) && !is_same_time(change)) {
            found.push_back({.set = change.path,
                             .text = fmt::format("{} become {}", describe(change.before),
                                                 describe(change.after)),
                             .remedy = find_remedy(change, rates.size() == 1),
                             .numbers = make_numbers(change)});
        }
    }
    return found;
}

// Other units may cut sets as they like.
bool has_new_rate(const GuardedStep& step, const SetObservation& set) {
    return set.written && set.before &&
           (changes_rates(*step.step.unit) || set.before->sample_rate != set.after.sample_rate);
}

TimeBase find_time_base(const GuardedStep& step, const SetState& state) {
    return {state.extents[find_axis(step.step.values, state.extents)],
            state.sample_rate.value_or(0.0)};
}

} // namespace

std::vector<GuardFinding> foresee_time_bases(const GuardedStep& step) {
    return judge(find_rate_changes(step.step, step.tree));
}

std::vector<GuardFinding> find_changed_time_bases(const GuardedStep& step) {
    std::vector<RateChange> changes;
    for (const SetObservation& set : step.done->sets) {
        if (has_new_rate(step, set)) {
            changes.push_back({.path = set.path,
                               .before = find_time_base(step, *set.before),
                               .after = find_time_base(step, set.after)});
        }
    }
    return judge(changes);
}

} // namespace talvora::host

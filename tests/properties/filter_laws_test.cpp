// Laws of filtering forward and backward: it is linear, it delays nothing, and constants
// pass it whole or not at all.
#include "tests/properties/any_filter.h"
#include "tests/properties/laws.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>

namespace talvora::properties {
namespace {

using Signal = std::vector<double>;

Signal filtered(const Signal& x, const AnyFilter& filter) {
    return dsp::zero_phase_filter(x, filter.prepared);
}

double greatest(const Signal& x) {
    double magnitude = 0.0;
    for (const double sample : x) {
        magnitude = std::max(magnitude, std::abs(sample));
    }
    return magnitude;
}

double greatest_difference(const Signal& x, const Signal& y) {
    RC_ASSERT(x.size() == y.size());
    Signal difference;
    for (std::size_t i = 0; i < x.size(); ++i) {
        difference.push_back(x[i] - y[i]);
    }
    return greatest(difference);
}

// factor x + y
Signal combine(double factor, const Signal& x, const Signal& y) {
    Signal sum;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sum.push_back(factor * x[i] + y[i]);
    }
    return sum;
}

rc::Gen<Signal> signal_of(std::size_t sample_count) {
    return rc::gen::container<Signal>(
        sample_count,
        rc::gen::map(rc::gen::inRange(-1000, 1001), [](int n) { return static_cast<double>(n); }));
}

// Long enough for the filter.
std::size_t a_length_for(const AnyFilter& filter) {
    const std::size_t least = filter.prepared.pad_count() + 1;
    return *rc::gen::inRange(least, least + 100);
}

// The whole numbers of which the signals are made combine exactly, so that three filtered
// signals are all that is rounded.
RC_GTEST_PROP(ZeroPhaseFilterLaws, IsLinear, ()) {
    const auto filter = *any_filter();
    const std::size_t length = a_length_for(filter);
    const auto x = *signal_of(length);
    const auto y = *signal_of(length);
    const double factor = *rc::gen::inRange(-3, 4);
    const Signal whole = filtered(combine(factor, x, y), filter);
    const Signal parts = combine(factor, filtered(x, filter), filtered(y, filter));
    const double magnitude = std::abs(factor) * greatest(x) + greatest(y);
    RC_ASSERT(greatest_difference(whole, parts) <= 2 * bound_of_rounding(filter, magnitude));
}

// What begins and ends at rest, for as long as the filter remembers. Where a signal moves at
// its ends, which of the two passes comes first shows near them.
RC_GTEST_PROP(ZeroPhaseFilterLaws, OfATurnedSignalIsTheTurnedResult, ()) {
    const auto filter = *any_filter();
    const std::size_t rest = settling_length(filter) + filter.prepared.pad_count();
    RC_PRE(rest < RESPONSE_LENGTH);
    const auto movement = *signal_of(*rc::gen::inRange<std::size_t>(1, 60));
    Signal x(rest);
    x.insert(x.end(), movement.begin(), movement.end());
    x.resize(x.size() + rest);

    const Signal turned(x.rbegin(), x.rend());
    const Signal forward = filtered(x, filter);
    const Signal backward = filtered(turned, filter);
    RC_ASSERT(greatest_difference({backward.rbegin(), backward.rend()}, forward) <=
              2 * bound_of_rounding(filter, greatest(x)));
}

RC_GTEST_PROP(ZeroPhaseFilterLaws, KeepsOrRemovesAConstant, ()) {
    const auto filter = *any_filter();
    const double constant = *rc::gen::inRange(-1000, 1001);
    const Signal x(a_length_for(filter), constant);
    const Signal expected(x.size(), filter.passes_constants() ? constant : 0.0);
    const double bound = bound_for_constant(filter, std::abs(constant));
    RC_ASSERT(bound <= 1e-5 * std::abs(constant)); // or it would tell nothing
    RC_ASSERT(greatest_difference(filtered(x, filter), expected) <= bound);
}

// Every operation on the way is one of multiplying and adding.
RC_GTEST_PROP(ZeroPhaseFilterLaws, AFactorOfTwoGoesThroughExactly, ()) {
    const auto filter = *any_filter();
    const auto x = *signal_of(a_length_for(filter));
    const Signal nothing(x.size());
    RC_ASSERT(filtered(combine(4.0, x, nothing), filter) ==
              combine(4.0, filtered(x, filter), nothing));
}

} // namespace
} // namespace talvora::properties

// What the laws are tried on, and how a unit is run for them.
#pragma once

#include "tests/support/recording_host.h"

#include <rapidcheck.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
#include <ostream>
#include <string>
#include <vector>

namespace talvora::properties {

using test_support::Integers;
using test_support::RecordingHost;
using test_support::Texts;

using Line = std::vector<float>;

// --- samples

// Any pattern of bits but a signalling NaN: arithmetic may make that a quiet one.
inline rc::Gen<float> any_sample() {
    constexpr std::uint32_t QUIET = 0x0040'0000;
    const auto of_bits = [](std::uint32_t bits) {
        const float sample = std::bit_cast<float>(bits);
        return std::isnan(sample) ? std::bit_cast<float>(bits | QUIET) : sample;
    };
    constexpr float INF = std::numeric_limits<float>::infinity();
    constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
    return rc::gen::weightedOneOf<float>(
        {{5, rc::gen::map(rc::gen::arbitrary<std::uint32_t>(), of_bits)},
         {1, rc::gen::element(0.0F, -0.0F, INF, -INF, NaN, -NaN)}});
}

// Sums, differences and halves of these are exact in single precision.
inline rc::Gen<float> whole_sample() {
    return rc::gen::map(rc::gen::inRange(-1000, 1001), [](int n) { return static_cast<float>(n); });
}

// Over twenty decades, with all the digits of a float.
inline rc::Gen<float> finite_sample() {
    return rc::gen::map(
        rc::gen::pair(rc::gen::inRange(-(1 << 24), 1 << 24), rc::gen::inRange(-48, 16)),
        [](const std::pair<int, int>& parts) {
            return static_cast<float>(std::ldexp(parts.first, parts.second));
        });
}

// One of `chances` is missing.
inline rc::Gen<float> with_gaps(const rc::Gen<float>& sample, std::size_t chances = 4) {
    return rc::gen::weightedOneOf<float>(
        {{chances - 1, sample}, {1, rc::gen::just(std::numeric_limits<float>::quiet_NaN())}});
}

inline rc::Gen<Line> line_of(const rc::Gen<float>& sample, std::size_t least, std::size_t most) {
    return rc::gen::mapcat(rc::gen::inRange(least, most + 1), [sample](std::size_t count) {
        return rc::gen::container<Line>(count, sample);
    });
}

// --- sets

struct Block {
    std::vector<std::uint64_t> extents;
    Line samples;

    std::size_t rank() const { return extents.size(); }
};

inline std::ostream& operator<<(std::ostream& out, const Block& block) {
    return out << rc::toString(block.extents) << " of " << rc::toString(block.samples);
}

// Of any rank up to four.
inline rc::Gen<Block> block_of(const rc::Gen<float>& sample) {
    return rc::gen::exec([sample] {
        const auto rank = *rc::gen::inRange<std::size_t>(1, 5);
        const auto extents = *rc::gen::container<std::vector<std::uint64_t>>(
            rank, rc::gen::inRange<std::uint64_t>(1, 7));
        const auto count =
            std::accumulate(extents.begin(), extents.end(), std::uint64_t{1}, std::multiplies<>());
        return Block{extents, *rc::gen::container<Line>(count, sample)};
    });
}

inline Block as_block(const Line& line) {
    return {{line.size()}, line};
}

inline std::int64_t an_axis_of(const Block& block) {
    return *rc::gen::inRange<std::int64_t>(0, static_cast<std::int64_t>(block.rank()));
}

// --- runs

inline constexpr float RATE = 100.0F;

// A host with one set, "x".
class OneSet {
  public:
    explicit OneSet(const Block& block, float rate = RATE) {
        host.dataset("x", block.extents, block.samples).attribute_float("SampleRate", rate);
        host.set_parameter("SourceSets", Texts{"x"});
    }

    template <typename Value>
    OneSet& with(const std::string& key, const Value& value) {
        host.set_parameter(key, value);
        return *this;
    }

    // The samples after a run, which has to succeed and to keep to the interface.
    const Line& after(const char* unit) {
        RC_ASSERT(host.run(unit));
        RC_ASSERT(host.take_violations() == Texts{});
        return host.samples("x");
    }

    RecordingHost host;
};

} // namespace talvora::properties

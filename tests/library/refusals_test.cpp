// What is refused, and in which words: a call that is refused writes no sample.
#include "tests/library/calls.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace talvora::library_test {
namespace {

constexpr std::int64_t HUGE_EXTENT = std::numeric_limits<std::int64_t>::max();

// A call that is good as it stands.
struct GoodCall {
    Filter filter = LOW_PASS;
    std::vector<double> samples = zigzag<double>(120);
    std::vector<double> written = std::vector<double>(120, -1.0);
    Extents in_extents = {3, 40};
    Extents out_extents = {3, 40};
    Extents in_strides = {320, 8};
    Extents out_strides = {320, 8};
    talvora_array in = make(samples, in_extents, in_strides);
    talvora_array out = make(written, out_extents, out_strides);
    talvora_filter_options options = default_options();
    bool has_in = true;
    bool has_out = true;

    static talvora_array make(std::vector<double>& samples, const Extents& extents,
                              const Extents& strides) {
        return {sizeof(talvora_array), samples.data(), extents.data(), strides.data(), 2,
                TALVORA_FLOAT64};
    }
    Outcome make_call() {
        return outcome_of([&](char* error, std::size_t size) {
            return talvora_filtfilt(filter.b.data(), filter.b.size(), filter.a.data(),
                                    filter.a.size(), has_in ? &in : nullptr,
                                    has_out ? &out : nullptr, &options, error, size);
        });
    }
};

struct Refusal {
    std::string name;
    std::function<void(GoodCall&)> spoil;
    std::string text;
};

// Without this a printed parameter is its bytes.
void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.name;
}

class Refusals : public ::testing::TestWithParam<Refusal> {};

TEST_P(Refusals, NameTheValueAndWhatIsAllowed) {
    GoodCall call;
    GetParam().spoil(call);
    const std::vector<double> before = call.written;
    EXPECT_EQ(call.make_call(), (Outcome{TALVORA_INVALID_ARGUMENT, GetParam().text}));
    EXPECT_EQ(call.written, before);
    EXPECT_EQ(call.samples, zigzag<double>(120));
}

const Refusal OF_ARRAYS[] = {
    {"NoInput", [](GoodCall& call) { call.has_in = false; },
     "in is NULL, where a structure is needed"},
    {"NoOutput", [](GoodCall& call) { call.has_out = false; },
     "out is NULL, where a structure is needed"},
    {"NoSize", [](GoodCall& call) { call.in.struct_size = 0; },
     "struct_size of in is 0; set it to sizeof the structure, 40 here"},
    {"SmallSize", [](GoodCall& call) { call.out.struct_size = 39; },
     "struct_size of out is 39; set it to sizeof the structure, 40 here"},
    {"GarbageSize", [](GoodCall& call) { call.out.struct_size = 5000; },
     "struct_size of out is 5000; set it to sizeof the structure, 40 here"},
    {"Type", [](GoodCall& call) { call.in.type = 3; },
     "the type of in is 3; allowed are TALVORA_FLOAT32 (1) and TALVORA_FLOAT64 (2)"},
    {"RankZero", [](GoodCall& call) { call.in.rank = 0; },
     "the rank of in is 0; allowed are 1 to 64"},
    {"GreatRank", [](GoodCall& call) { call.in.rank = 65; },
     "the rank of in is 65; allowed are 1 to 64"},
    {"NoExtents", [](GoodCall& call) { call.in.extents = nullptr; },
     "the extents of in are NULL; 2 are needed"},
    {"NegativeExtent", [](GoodCall& call) { call.in_extents[1] = -40; },
     "the extents of in are [3, -40]; none may be below 0"},
    {"TooManySamples",
     [](GoodCall& call) {
         call.in_extents = {3, HUGE_EXTENT};
     },
     "the extents of in are [3, 9223372036854775807], more samples than memory can hold; allowed "
     "are 1152921504606846975 in all"},
    {"TooManySamplesBesideNone",
     [](GoodCall& call) {
         call.in_extents = {0, HUGE_EXTENT};
     },
     "the extents of in are [0, 9223372036854775807], more samples than memory can hold; allowed "
     "are 1152921504606846975 in all"},
    {"NoSamples", [](GoodCall& call) { call.in.samples = nullptr; },
     "the samples of in are NULL; its extents are [3, 40]"},
    {"UnevenStride", [](GoodCall& call) { call.in_strides[1] = 12; },
     "a stride of in is 12 bytes; allowed are multiples of 8"},
    {"FarStride", [](GoodCall& call) { call.in_strides[0] = std::int64_t{1} << 62; },
     "the extents [3, 40] and the strides [4611686018427387904, 8] of in lead beyond what "
     "addresses "
     "can hold"},
    {"StrideBelowZero", [](GoodCall& call) { call.in_strides[0] = -(std::int64_t{1} << 60); },
     "the extents [3, 40] and the strides [-1152921504606846976, 8] of in lead beyond what "
     "addresses can hold"},
    {"OtherType",
     [](GoodCall& call) {
         call.in.type = TALVORA_FLOAT32;
         call.in_strides = {160, 4};
     },
     "the type of out is 2; it has to be that of in, 1"},
    {"OtherExtents",
     [](GoodCall& call) {
         call.out_extents = {4, 30};
     },
     "the extents of out are [4, 30]; they have to be those of in, [3, 40]"},
    {"OtherRank", [](GoodCall& call) { call.out.rank = 1; },
     "the extents of out are [3]; they have to be those of in, [3, 40]"},
    {"SharedPlaces", [](GoodCall& call) { call.out_strides[0] = 0; },
     "samples of out share memory: a stride is 0 bytes, where 8 at least keep them apart"},
    {"OverlappingRows", [](GoodCall& call) { call.out_strides[0] = 160; },
     "samples of out share memory: a stride is 160 bytes, where 320 at least keep them apart"},
    {"Overlap",
     [](GoodCall& call) {
         call.in.samples = call.written.data() + 1;
         call.in_extents = call.out_extents = {2, 40};
     },
     "out shares memory with in: it may be the very same array, or has to lie apart"},
    {"TurnedRound",
     [](GoodCall& call) {
         call.in.samples = call.written.data() + 39;
         call.in_strides[1] = -8;
     },
     "out shares memory with in: it may be the very same array, or has to lie apart"},
    {"OverlappingColumns",
     [](GoodCall& call) {
         call.in_extents = call.out_extents = {10, 7};
         call.in_strides = call.out_strides = {96, 8};
         call.in.samples = call.written.data() + 5;
     },
     "out shares memory with in: it may be the very same array, or has to lie apart"},
    {"OddStrides",
     [](GoodCall& call) {
         call.in_extents = call.out_extents = {3, 4};
         call.out_strides = {24, 16};
     },
     "samples of out share memory: a stride is 24 bytes, where 56 at least keep them apart"},
    {"Axis", [](GoodCall& call) { call.options.axis = 2; },
     "axis is 2; an array of rank 2 has the axes -2 to 1"},
    {"AxisFromTheLast", [](GoodCall& call) { call.options.axis = -3; },
     "axis is -3; an array of rank 2 has the axes -2 to 1"},
};

const Refusal OF_FILTERS[] = {
    {"NoNumerator", [](GoodCall& call) { call.filter.b.clear(); },
     "b has 0 coefficients; allowed are 1 to 1025"},
    {"NoDenominator", [](GoodCall& call) { call.filter.a.clear(); },
     "a has 0 coefficients; allowed are 1 to 1025"},
    {"ManyTaps", [](GoodCall& call) { call.filter.b.resize(1026); },
     "b has 1026 coefficients; allowed are 1 to 1025"},
    {"LeadingZero", [](GoodCall& call) { call.filter.a[0] = 0.0; },
     "a[0] is 0; the recurrence is divided by it"},
    {"MissingCoefficient", [](GoodCall& call) { call.filter.b[1] = NaN_DOUBLE; },
     "b[1] is nan; coefficients have to be finite"},
    {"InfiniteCoefficient", [](GoodCall& call) { call.filter.a[2] = INF_DOUBLE; },
     "a[2] is inf; coefficients have to be finite"},
    {"MissingLeadingCoefficient", [](GoodCall& call) { call.filter.a[0] = NaN_DOUBLE; },
     "a[0] is nan; coefficients have to be finite"},
    {"InfiniteQuotient",
     [](GoodCall& call) {
         call.filter = {{1e300}, {1e-300}};
     },
     "b[0] is 1e+300, and a[0] 1e-300; their quotient has to be finite"},
    {"PoleOnTheCircle",
     [](GoodCall& call) {
         call.filter = {{1.0}, {1.0, -1.0}};
     },
     "the filter is not stable: what it gives grows without bound or never fades; all roots of a "
     "have to lie inside the unit circle"},
    {"PoleBeyondTheCircle",
     [](GoodCall& call) {
         call.filter = {{1.0}, {0.5, -1.0, 0.7}};
     },
     "the filter is not stable: what it gives grows without bound or never fades; all roots of a "
     "have to lie inside the unit circle"},
};

const Refusal OF_OPTIONS[] = {
    {"OptionsSize", [](GoodCall& call) { call.options.struct_size = 1; },
     "struct_size of the options is 1; set it to sizeof the structure, 56 here"},
    {"Missing", [](GoodCall& call) { call.options.missing = 2; },
     "missing is 2; allowed are TALVORA_OMIT (0) and TALVORA_PROPAGATE (1)"},
    {"ShortLines", [](GoodCall& call) { call.options.short_lines = -1; },
     "short_lines is -1; allowed are TALVORA_LEAVE_SHORT (0) and TALVORA_REFUSE_SHORT (1)"},
    {"Workers", [](GoodCall& call) { call.options.workers = -2; },
     "workers is -2; allowed are -1, as many as processors, and 0 to 1024"},
    {"ManyWorkers", [](GoodCall& call) { call.options.workers = 1025; },
     "workers is 1025; allowed are -1, as many as processors, and 0 to 1024"},
    {"Pad", [](GoodCall& call) { call.options.pad = -3; },
     "pad is -3; allowed are TALVORA_PAD_UNIT (0), TALVORA_PAD_SCIPY (-1), TALVORA_PAD_NONE (-2) "
     "and numbers of samples above 0"},
    {"ShortRunsSize",
     [](GoodCall& call) {
         static talvora_short_runs without_size{};
         call.options.short_runs = &without_size;
     },
     "struct_size of short_runs of the options is 0; set it to sizeof the structure, 32 here"},
};

std::string name_of(const ::testing::TestParamInfo<Refusal>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(OfArrays, Refusals, ::testing::ValuesIn(OF_ARRAYS), name_of);
INSTANTIATE_TEST_SUITE_P(OfFilters, Refusals, ::testing::ValuesIn(OF_FILTERS), name_of);
INSTANTIATE_TEST_SUITE_P(OfOptions, Refusals, ::testing::ValuesIn(OF_OPTIONS), name_of);

TEST(Refusal, OfSamplesThatAreNotAlignedTellsTheAddress) {
    GoodCall call;
    call.in.samples = reinterpret_cast<std::byte*>(call.samples.data()) + 4;
    const Outcome outcome = call.make_call();
    EXPECT_EQ(outcome.status, TALVORA_INVALID_ARGUMENT);
    EXPECT_THAT(outcome.text, ::testing::MatchesRegex("the samples of in begin at the address "
                                                      "0x[0-9a-f]+; it has to be a multiple of 8"));
}

TEST(Refusal, OfATurnedArrayInPlaceIsAnOverlap) {
    GoodCall call;
    call.in.samples = call.out.samples;
    call.in_extents = call.out_extents = {3, 3};
    call.in_strides = {8, 24};
    call.out_strides = {24, 8};
    EXPECT_EQ(call.make_call().status, TALVORA_INVALID_ARGUMENT);
}

TEST(Refusal, NeedsNoRoomForItsSentence) {
    GoodCall call;
    call.in.rank = 0;
    EXPECT_EQ(talvora_filtfilt(call.filter.b.data(), 3, call.filter.a.data(), 3, &call.in,
                               &call.out, &call.options, nullptr, 0),
              TALVORA_INVALID_ARGUMENT);
    char error[12];
    EXPECT_EQ(talvora_filtfilt(call.filter.b.data(), 3, call.filter.a.data(), 3, &call.in,
                               &call.out, &call.options, error, sizeof error),
              TALVORA_INVALID_ARGUMENT);
    EXPECT_STREQ(error, "the rank of");
}

TEST(Refusal, OfAMissingArrayOfCoefficients) {
    GoodCall call;
    EXPECT_EQ(outcome_of([&](char* error, std::size_t size) {
                  return talvora_filtfilt(nullptr, 3, call.filter.a.data(), 3, &call.in, &call.out,
                                          &call.options, error, size);
              }),
              (Outcome{TALVORA_INVALID_ARGUMENT, "b is NULL; 3 coefficients are needed"}));
}

// Whether two of 2^40 sums of strides are the same takes too long to tell; no sample is looked at.
TEST(Refusal, OfWhatCannotBeToldSaysSo) {
    GoodCall call;
    constexpr std::size_t RANK = 40;
    call.in_extents = call.out_extents = Extents(RANK, 2);
    call.in_strides = Extents(RANK, 8);
    call.out_strides.clear();
    std::uint64_t state = 1;
    for (std::size_t axis = 0; axis < RANK; ++axis) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        call.out_strides.push_back(static_cast<std::int64_t>(state >> 12U) / 8 * 8);
    }
    call.in = GoodCall::make(call.samples, call.in_extents, call.in_strides);
    call.out = GoodCall::make(call.written, call.out_extents, call.out_strides);
    call.in.rank = call.out.rank = RANK;
    const Outcome outcome = call.make_call();
    EXPECT_EQ(outcome.status, TALVORA_INVALID_ARGUMENT);
    EXPECT_THAT(outcome.text,
                ::testing::StartsWith("whether samples of out share memory cannot be told: a "
                                      "stride is "));
}

// Two and three samples on: at 0, 2, 3 and 5.
TEST(Refusal, IsNotOfPlacesThatOnlyCross) {
    GoodCall call;
    call.in_extents = call.out_extents = {2, 2};
    call.out_strides = {24, 16};
    call.options.pad = TALVORA_PAD_NONE;
    EXPECT_EQ(call.make_call(), DONE);
}

// Strides of axes along which no step is taken do not count.
TEST(Refusal, LeavesUnusedStridesAlone) {
    GoodCall call;
    call.in_extents = call.out_extents = {1, 40};
    call.in_strides[0] = 3;
    call.out_strides[0] = 0;
    EXPECT_EQ(call.make_call(), DONE);
}

// ---------------------------------------------------------------------------
// Structures of other versions

// The options of a later version, with a member more.
struct LaterOptions {
    talvora_filter_options known = default_options();
    std::int64_t added = 0;
};

TEST(LaterStructure, IsReadWhileWhatItAddsIsZero) {
    GoodCall call;
    LaterOptions options;
    options.known.struct_size = sizeof options;
    const auto filter_with = [&](const LaterOptions& given) {
        return outcome_of([&](char* error, std::size_t size) {
            return talvora_filtfilt(call.filter.b.data(), 3, call.filter.a.data(), 3, &call.in,
                                    &call.out, &given.known, error, size);
        });
    };
    EXPECT_EQ(filter_with(options), DONE);
    options.added = 1;
    EXPECT_EQ(filter_with(options),
              (Outcome{TALVORA_INVALID_ARGUMENT,
                       "the options asks for what this version of the library, " +
                           std::string(talvora_version()) +
                           ", does not know: a member behind its first 56 bytes is not zero"}));
}

} // namespace
} // namespace talvora::library_test

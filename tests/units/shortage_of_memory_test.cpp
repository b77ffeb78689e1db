// Every row of the library's table on every tree, with each allocation refused in turn.
#include "tests/support/special_values.h"
#include "tests/support/unit_table.h"
#include "tests/units/every_allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace talvora::test_support {
namespace {

// Read, compute and then write: what a shortage ends has changed no set.
const std::set<std::string> WRITING_AT_THE_END = {
    "signal.set-butterworth",
    "signal.set-rectify",
    "orvane.signal.apply-set-butterworth",
    "orvane.signal.apply-set-rectify",
};

// One choice for all units, each of which reads the keys that it declares. It comes past
// every kind of record that a host returns.
void set_parameters(RecordingHost& host) {
    host.set_parameter("SourceSets", Texts{"Imu/a"});
    host.set_parameter("SourceGroup", "Imu");
    host.set_parameter("ScanRecursive", true);
    host.set_parameter("Axis", std::int64_t{2});
    host.set_parameter("Components", Integers{1, 0, 99});
    host.set_parameter("HintGroup", "Hint");
    host.set_parameter("MaxGapLength", std::int64_t{2});
    host.set_parameter("CutoffFrequency", 6.0);
    host.set_parameter("Order", std::int64_t{4});
    host.set_parameter("DestinationGroup", "Out");
    host.set_parameter("DestinationSet", "Out");
    host.set_parameter("NamesFilter", Texts{"a", "b", "ghost"});
    host.set_parameter("MetricFilter", "Angle");
    host.set_parameter("TranslationMap", Texts{"left", "a", "right", "b"});
}

// --- the trees

DataSet& add_set(RecordingHost& host, const std::string& path, std::vector<std::uint64_t> extents,
                 float rate = 100) {
    std::uint64_t count = 1;
    for (const std::uint64_t extent : extents) {
        count *= extent;
    }
    std::vector<float> samples;
    for (std::uint64_t i = 0; i < count; ++i) {
        samples.push_back(static_cast<float>(i % 7) - 3.0F);
    }
    return host.dataset(path, std::move(extents), samples)
        .attribute_float("SampleRate", rate)
        .attribute_text("MetricType", "Angle");
}

void add_hint(RecordingHost& host) {
    host.group("Hint").attribute_float("SampleRate", 10);
}

void grow_one_set(RecordingHost& host) {
    add_hint(host);
    add_set(host, "Imu/a", {1, 1, 40});
}

void grow_groups_below_groups(RecordingHost& host) {
    add_hint(host);
    host.group("Imu").attribute_float("SampleRate", 100).attribute_integer("NumSamples", 40);
    add_set(host, "Imu/a", {3, 1, 40});
    add_set(host, "Imu/b", {3, 1, 40}, 50);
    add_set(host, "Imu/Left/c", {1, 2, 40});
    add_set(host, "Imu/Left/Foot/d", {1, 1, 40}, 200);
}

void grow_gaps_and_unusable_rates(RecordingHost& host) {
    add_hint(host);
    std::vector<float> samples(2 * 60, 1.0F);
    for (const std::size_t missing : {0U, 20U, 21U, 40U, 41U, 42U, 70U, 119U}) {
        samples[missing] = NaN;
    }
    host.dataset("Imu/a", {2, 1, 60}, samples)
        .attribute_float("SampleRate", 100)
        .attribute_text("MetricType", "Angle");
    add_set(host, "Imu/b", {2, 1, 60}, NaN);
}

void grow_a_long_line(RecordingHost& host) {
    add_hint(host);
    add_set(host, "Imu/a", {1, 1, 20'000});
}

// The axis lies beyond these sets, and the units that summarise want three dimensions.
void grow_flat_sets(RecordingHost& host) {
    add_hint(host);
    add_set(host, "Imu/a", {40});
    add_set(host, "Imu/b", {5, 8});
}

void grow_nothing(RecordingHost&) {}

struct Tree {
    const char* name;
    void (*grow)(RecordingHost&);
    bool suits_every_unit;
};

constexpr Tree TREES[] = {
    {"one set", grow_one_set, true},
    {"groups below groups", grow_groups_below_groups, true},
    {"gaps and unusable rates", grow_gaps_and_unusable_rates, true},
    {"a long line", grow_a_long_line, true},
    {"flat sets", grow_flat_sets, false},
    {"nothing", grow_nothing, false},
};

void prepare_run(RecordingHost& host, const Tree& tree) {
    set_parameters(host);
    tree.grow(host);
}

// --- the claims

class ShortageOfMemory : public testing::TestWithParam<ListedUnit> {};

std::string name_row(const testing::TestParamInfo<ListedUnit>& info) {
    return as_test_name(info.param.identifier);
}

INSTANTIATE_TEST_SUITE_P(Rows, ShortageOfMemory, testing::ValuesIn(UNIT_TABLE), name_row);

TEST_P(ShortageOfMemory, LeavesTheRunAsItsExceptionAndEveryRecordFreedOnce) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer's allocator refuses nothing";
    }
    for (const Tree& tree : TREES) {
        SCOPED_TRACE(tree.name);
        expect_clean_end_of_memory(
            GetParam().identifier, [&](RecordingHost& host) { prepare_run(host, tree); },
            [](RecordingHost& host) {
                if (WRITING_AT_THE_END.contains(GetParam().identifier)) {
                    EXPECT_THAT(host.calls_of({"write_samples"}), testing::IsEmpty());
                }
            });
    }
}

// Without this the trees might end every run before it begins.
TEST_P(ShortageOfMemory, IsTriedOnRunsThatSucceed) {
    for (const Tree& tree : TREES) {
        if (tree.suits_every_unit) {
            SCOPED_TRACE(tree.name);
            RecordingHost host;
            prepare_run(host, tree);
            EXPECT_TRUE(host.run(GetParam().identifier))
                << testing::PrintToString(host.message_texts());
            EXPECT_GT(host.allocation_count(), 0U);
        }
    }
}

// Rates and lengths that have to be put in order, which asks for no memory that could be done
// without.
void grow_rates_and_lengths_out_of_order(RecordingHost& host) {
    add_set(host, "Imu/a", {3, 1, 40}, 200);
    add_set(host, "Imu/b", {2, 1, 60}, 50);
    add_set(host, "Imu/c", {1, 1, 80}, 200);
    add_set(host, "Imu/d", {1, 1, 50}, 50);
}

TEST(ShortageOfMemoryWhileSorting, EndsEveryRun) {
    if (!can_refuse_allocations()) {
        GTEST_SKIP() << "the sanitizer's allocator refuses nothing";
    }
    bool runs_out = true;
    for (std::uint64_t n = 1; runs_out; ++n) {
        RecordingHost host;
        set_parameters(host);
        host.set_parameter("SourceSets", Texts{"Imu/a", "Imu/b", "Imu/c", "Imu/d"});
        grow_rates_and_lengths_out_of_order(host);
        host.refuse_allocation(n);
        runs_out = runs_out_of_memory(host, "signal.set-butterworth");
        EXPECT_TRUE(runs_out || host.allocation_count() < n) << "allocation " << n;
    }
}

} // namespace
} // namespace talvora::test_support

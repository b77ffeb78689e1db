// Hosts may run units in several threads, each with a context of its own. What every row of the
// table does in one thread while another does the same must be what it does alone; built with the
// thread sanitizer (scripts/test-threads), any memory that two runs share is an error besides.
#include "host/interface/plugin_library.h"
#include "host/interface/unit_run.h"
#include "host/tree/group_walk.h"
#include "host/tree/memory_tree.h"
#include "tests/support/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <thread>

namespace talvora::host {
namespace {

using Texts = std::vector<std::string>;
using Integers = std::vector<std::int64_t>;

constexpr int THREADS = 2;
constexpr int REPETITIONS = 5;

// One choice for all units, each of which takes the keys that it declares.
const ParameterValues::Given PARAMETERS = {
    {"SourceGroup", "Imu"},
    {"ScanRecursive", true},
    {"Axis", std::int64_t{2}},
    {"Components", Integers{0, 1}},
    {"HintGroup", "Hint"},
    {"MaxGapLength", std::int64_t{3}},
    {"CutoffFrequency", 6.0},
    {"Order", std::int64_t{4}},
    {"DestinationGroup", "Out"},
    {"DestinationSet", "Out"},
    {"NamesFilter", Texts{"rate", "force"}},
    {"MetricFilter", "Angle"},
};

ParameterValues values_for(const Unit& unit) {
    const auto signatures = declare_unit(unit);
    ParameterValues::Given given;
    for (const ParameterSignature& signature : signatures) {
        if (const auto found = PARAMETERS.find(signature.key); found != PARAMETERS.end()) {
            given.insert(*found);
        }
    }
    return {signatures, std::move(given)};
}

// Lines of sines, every line with a gap of two samples.
void add_set(DataTree& tree, const std::string& path) {
    constexpr std::uint64_t lines = 20;
    constexpr std::uint64_t length = 1000;
    std::vector<float> samples;
    for (std::uint64_t i = 0; i < lines * length; ++i) {
        const bool is_missing = i % length == length / 3 || i % length == length / 3 + 1;
        samples.push_back(is_missing ? NaN : std::sin(static_cast<float>(i) * 0.1F));
    }
    const ObjectId set = tree.create_dataset(tree.root(), path, {lines, 1, length});
    tree.write(set, {Extents{0, 0, 0}, Extents{lines, 1, length}}, samples);
    tree.write_attribute(set, "SampleRate", 100.0F);
    tree.write_attribute(set, "MetricType", std::string("Angle"));
}

void grow(DataTree& tree) {
    add_set(tree, "Imu/rate");
    add_set(tree, "Imu/force");
    add_set(tree, "Imu/Left/rate");
    tree.write_attribute(tree.create_group(tree.root(), "Hint"), "SampleRate", 25.0F);
}

// Each set's path, extents and bits, in the order of the walk.
Texts describe_sets(DataTree& tree) {
    Texts described;
    walk_groups(tree, tree.root(), [&](ObjectId group) {
        for (const std::string& name : tree.list_datasets(group)) {
            const ObjectId set = *tree.find(group, name);
            const Extents extents = tree.extents(set);
            std::uint64_t count = 1;
            for (const std::uint64_t extent : extents) {
                count *= extent;
            }
            std::vector<float> samples(count);
            tree.read(set, {Extents(extents.size(), 0), extents}, samples);
            std::vector<std::uint32_t> bits;
            for (const float sample : samples) {
                bits.push_back(std::bit_cast<std::uint32_t>(sample));
            }
            described.push_back(tree.path(set) + testing::PrintToString(extents) +
                                testing::PrintToString(bits));
        }
    });
    return described;
}

// What the tree holds after the unit ran on it, before that its messages.
Texts run(const Unit& unit) {
    MemoryTree tree;
    grow(tree);
    Texts account;
    const UnitOutcome outcome = run_unit(unit, tree, values_for(unit), [&](const Message& message) {
        account.push_back(message.text);
    });
    account.emplace_back(outcome.is_good() ? "good" : "not good");
    const Texts sets = describe_sets(tree);
    account.insert(account.end(), sets.begin(), sets.end());
    return account;
}

TEST(TwoContexts, OfTwoThreadsAreToEveryUnitAsOneAlone) {
    const PluginLibrary library{SIGNAL_PLUGIN};
    std::vector<Texts> alone;
    for (const Unit& unit : library.units()) {
        alone.push_back(run(unit));
        ASSERT_THAT(alone.back(), testing::Contains("good")) << unit.name << " " << alone.back()[0];
    }

    std::vector<std::vector<std::string>> differing(THREADS);
    std::vector<std::jthread> threads;
    for (std::vector<std::string>& found : differing) {
        threads.emplace_back([&] {
            for (int repetition = 0; repetition < REPETITIONS; ++repetition) {
                for (std::size_t i = 0; i < library.units().size(); ++i) {
                    if (run(library.units()[i]) != alone[i]) {
                        found.push_back(library.units()[i].name);
                    }
                }
            }
        });
    }
    threads.clear(); // waits for them
    EXPECT_THAT(differing, testing::Each(testing::IsEmpty()));
}

} // namespace
} // namespace talvora::host

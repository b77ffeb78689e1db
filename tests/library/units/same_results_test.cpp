// The same as the program does on a file with the same data, bit for bit.
#include "tests/host/cli/program.h"
#include "tests/library/units/library_test.h"

#include <cmath>
#include <limits>

namespace talvora::library_test {
namespace {

struct Job {
    const char* unit;
    Words words;
};

void PrintTo(const Job& job, std::ostream* out) {
    *out << job.unit;
}

const Job JOBS[] = {
    {"apply-set-rectify", {"SourceGroup=Imu"}},
    {"apply-set-opposite", {"SourceSets=Imu/A", "SourceSets=Imu/C"}},
    {"apply-set-butterworth", {"SourceGroup=Imu", "CutoffFrequency=6", "Order=4"}},
    {"apply-set-butterworth",
     {"SourceGroup=Imu", "Bandform=ZeroLagBandPass", "CutoffFrequency=9", "BandWidth=4",
      "Order=2"}},
    {"apply-set-fill-gap", {"SourceGroup=Imu", "MaxGapLength=5"}},
    {"apply-set-baseline-offset", {"SourceSets=Imu/A"}},
    {"apply-set-downsample", {"SourceGroup=Imu", "HintGroup=Hint"}},
    {"average-set", {"SourceGroup=Imu", "DestinationGroup=Mean"}},
    {"average-set-2",
     {"SourceGroup=Imu", "DestinationSet=Means", "NamesFilter=A", "NamesFilter=B"}},
    {"extract-set-maximum-extrema", {"SourceGroup=Imu", "DestinationGroup=Maxima"}},
};

// Three sets, one of them with gaps.
void fill(Tree& tree) {
    Floats samples(3 * 500);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = std::sin(static_cast<float>(i) * 0.37F) * 3 + static_cast<float>(i % 11);
    }
    tree.add_signal("Imu/A", {3, 1, 500}, samples);
    for (const std::size_t at : {40U, 41U, 42U, 700U, 1499U}) {
        samples[at] = std::numeric_limits<float>::quiet_NaN();
    }
    tree.add_signal("Imu/B", {3, 1, 500}, samples);
    tree.add_signal("Imu/C", {1, 1, 1500}, samples);
    ASSERT_GOOD(tree.set("Imu/A", "Unit", text("g")));
    ASSERT_GOOD(tree.add_group("Hint"));
    ASSERT_GOOD(tree.set("Hint", "SampleRate", float_number(50)));
}

void write_or_fail(const Tree& tree, const std::filesystem::path& file) {
    ASSERT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_tree_write(tree, file.c_str(), 0, error, size);
    }));
}

TreeContent read(const std::filesystem::path& file) {
    talvora_tree* tree = nullptr;
    EXPECT_GOOD(run_call([&](char* error, std::size_t size) {
        return talvora_tree_read(file.c_str(), &tree, nullptr, nullptr, error, size);
    }));
    return Tree(tree).content();
}

// The histories differ in who wrote them.
TreeContent without_history(TreeContent content) {
    content.attributes[""].erase("talvora_history");
    return content;
}

class SameResults : public testing::TestWithParam<Job> {};

TEST_P(SameResults, AsOfTheProgram) {
    const auto& [unit, words] = GetParam();
    const host::TemporaryFolder folder;
    const Plugin plugin;
    Tree tree;
    fill(tree);
    write_or_fail(tree, folder / "in.h5");
    ASSERT_GOOD(tree.run(plugin, unit, words));
    host::Program::Words command = {"--plugin", SIGNAL_PLUGIN, "run",    unit,
                                    "in.h5",    "-o",          "out.h5", "--quiet"};
    command.insert(command.end(), words.begin(), words.end());
    const auto result = host::run_program(folder.path(), command);
    ASSERT_EQ(result.exit_code, 0) << result.errors;
    const TreeContent expected = without_history(read(folder / "out.h5"));
    const TreeContent content = without_history(tree.content());
    EXPECT_EQ(content.objects, expected.objects);
    EXPECT_EQ(content.sets, expected.sets);
    EXPECT_TRUE(content.attributes == expected.attributes);
}

INSTANTIATE_TEST_SUITE_P(Each, SameResults, testing::ValuesIn(JOBS));

} // namespace
} // namespace talvora::library_test

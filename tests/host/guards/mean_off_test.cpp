#include "host/guards/guard_functions.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// 64 samples in turn.
std::vector<float> alternate(float a, float b) {
    std::vector<float> samples;
    for (int i = 0; i < 32; ++i) {
        samples.insert(samples.end(), {a, b});
    }
    return samples;
}

std::vector<float> repeat(const std::vector<float>& line, std::size_t count) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < count; ++i) {
        samples.insert(samples.end(), line.begin(), line.end());
    }
    return samples;
}

class MeanOff : public GuardedTest {
  protected:
    MeanOff() {
        make_step("a.average-set",
                  {"SourceGroup: string", "DestinationGroup: string", "Axis: integer = -1"},
                  {{"SourceGroup", "A"}, {"DestinationGroup", "Means"}});
    }

    // Of the set A/X, of lines of 64 samples.
    std::vector<GuardFinding> find(const std::vector<float>& samples,
                                   const std::vector<float>& means) {
        read(add_set("A/X", {means.size(), 1, 64}, samples));
        write(observed_.create_dataset(observed_.root(), "Means/X", {means.size(), 1, 1}), means);
        return find_means_off(after());
    }
};

TEST_F(MeanOff, SpeaksOutsideTheSamples) {
    const auto found = find(alternate(100000, 100001), {100002});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "Means/X");
    EXPECT_EQ(found[0].text,
              "of 1 mean of A/X 1 is not that of the samples, the first is [0, 0, :]: 100002 for "
              "64 samples, which lie between 100000 and 100001 with a deviation of 0.5 but for "
              "these two; in double precision it is 100000.5");
    EXPECT_EQ(found[0].numbers.dump(),
              R"({"means_off":1,"means":1,"samples":64,"mean":100002.0,"exact":100000.5,)"
              R"("least":100000.0,"greatest":100001.0,"deviation":0.5})");
}

TEST_F(MeanOff, SpeaksMoreThanAThousandthOfTheRangeOff) {
    EXPECT_THAT(find(alternate(0, 1000), {501.5F}), SizeIs(1));
}

TEST_F(MeanOff, IsSilentWithinAThousandth) {
    EXPECT_THAT(find(alternate(0, 1000), {500.5F}), IsEmpty());
}

// 62 samples of a deviation of 3 about 100, and two far from them on both sides.
TEST_F(MeanOff, IsNotHiddenByOneOutlierOnEachSide) {
    std::vector<float> line = alternate(97, 103);
    line[20] = 100 - 50000;
    line[41] = 100 + 50000;
    const auto found = find(repeat(line, 3), {100.02F, 100.03F, 131});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].text, HasSubstr("of 3 means of A/X 2 are not that of the samples, the "
                                         "first is [1, 0, :]"));
    EXPECT_THAT(found[0].text, HasSubstr("with a deviation of 3 but for these two"));
}

TEST_F(MeanOff, TakesALineWithOneOutlierAsTheConstantThatItIs) {
    std::vector<float> line = alternate(5, 5);
    line[7] = 69; // the mean is 6
    const auto found = find(repeat(line, 2), {6, 6.001F});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].text, HasSubstr("of 2 means of A/X 1 is"));
}

TEST_F(MeanOff, IsSilentWhereNoFloatIsNearer) {
    EXPECT_THAT(find(alternate(16777216, 16777218), {16777216}), IsEmpty());
}

TEST_F(MeanOff, NamesTheFirstLine) {
    std::vector<float> samples = alternate(1, 3);
    const auto more = alternate(5, 7);
    samples.insert(samples.end(), more.begin(), more.end());
    const auto found = find(samples, {2, 8});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].text, HasSubstr("of 2 means of A/X 1 is not that of the samples, the "
                                         "first is [1, 0, :]: 8 for 64 samples"));
}

TEST_F(MeanOff, LeavesLinesWithMissingSamples) {
    EXPECT_THAT(find(alternate(1, NaN), {NaN}), IsEmpty());
}

TEST_F(MeanOff, FindsColumnsByTheirLabels) {
    make_step("a.average-set-2",
              {"SourceGroup: string", "DestinationSet: string", "TranslationMap: list(string)"},
              {{"SourceGroup", "A"},
               {"DestinationSet", "Means"},
               {"TranslationMap", std::vector<std::string>{"first", "Y"}}});
    read(add_set("A/X", {1, 1, 64}, alternate(1, 3)));
    read(add_set("A/Y", {1, 1, 64}, alternate(5, 7)));
    const ObjectId means = observed_.create_dataset(observed_.root(), "Means", {1, 2, 1});
    write(means, {2, 7});
    observed_.write_attribute(means, "Labels", TextArray{{"X", "first"}, {2}});
    const auto found = find_means_off(after());
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_EQ(found[0].set, "Means");
    EXPECT_THAT(found[0].text, HasSubstr("of 1 mean of A/Y 1 is"));
}

class MeanOffInColumns : public MeanOff {
  protected:
    // The mean of A/X is 2, that of A/Y 6.
    std::vector<GuardFinding> find(const ParameterValues::Given& choice, const Texts& labels,
                                   const std::vector<float>& means,
                                   const std::string& destination = "Means") {
        ParameterValues::Given given = {{"SourceGroup", "A"}, {"DestinationSet", destination}};
        given.insert(choice.begin(), choice.end());
        make_step("a.average-set-2",
                  {"SourceGroup: string", "DestinationSet: string", "NamesFilter: list(string)",
                   "MetricFilter: string", "TranslationMap: list(string)"},
                  given);
        read(add_set("A/X", {1, 1, 64}, alternate(1, 3)));
        read(add_set("A/Y", {1, 1, 64}, alternate(5, 7)));
        tree_.write_attribute(*tree_.find(tree_.root(), "A/Y"), "MetricType", std::string("angle"));
        const ObjectId set =
            observed_.create_dataset(observed_.root(), destination, {1, means.size(), 1});
        write(set, means);
        observed_.write_attribute(set, "Labels", TextArray{labels, {labels.size()}});
        return find_means_off(after());
    }
};

// The unit opens Y for the listed X, and labels what it finds by X's label, which is Y.
TEST_F(MeanOffInColumns, FindsTheSourcesOfASwappedMap) {
    EXPECT_THAT(find({{"TranslationMap", Texts{"X", "Y", "Y", "X"}}}, {"Y", "X"}, {6, 2}),
                IsEmpty());
}

TEST_F(MeanOffInColumns, SpeaksOfTheSourceThatWasTaken) {
    const auto found = find({{"TranslationMap", Texts{"X", "Y", "Y", "X"}}}, {"Y", "X"}, {2, 2});
    ASSERT_THAT(found, SizeIs(1));
    EXPECT_THAT(found[0].text, HasSubstr("of 1 mean of A/Y 1 is"));
}

TEST_F(MeanOffInColumns, FindsTheSourceOfAMapOfOnePairThatIsASource) {
    EXPECT_THAT(find({{"TranslationMap", Texts{"X", "Y"}}}, {"X", "X"}, {6, 6}), IsEmpty());
}

TEST_F(MeanOffInColumns, FindsTheChosenSources) {
    EXPECT_THAT(find({{"NamesFilter", Texts{"Y", "none", "X"}}}, {"Y", "X"}, {6, 2}), IsEmpty());
}

TEST_F(MeanOffInColumns, FindsTheSourcesOfAMetric) {
    EXPECT_THAT(find({{"MetricFilter", "angle"}}, {"Y"}, {6}), IsEmpty());
}

TEST_F(MeanOffInColumns, LeavesTheMeansOutOfTheSources) {
    EXPECT_THAT(find({}, {"X", "Y"}, {2, 7}, "A/Means"), SizeIs(1));
}

TEST_F(MeanOffInColumns, IsSilentOfOtherColumns) {
    EXPECT_THAT(find({}, {"X", "Z"}, {5, 7}), IsEmpty());
}

TEST_F(MeanOff, LeavesOtherUnitsAlone) {
    make_step("a.b", {"SourceGroup: string", "DestinationGroup: string"},
              {{"SourceGroup", "A"}, {"DestinationGroup", "Means"}});
    EXPECT_THAT(find(alternate(0, 1), {5}), IsEmpty());
}

} // namespace
} // namespace talvora::host

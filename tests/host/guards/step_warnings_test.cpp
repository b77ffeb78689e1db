#include "host/guards/step_warnings.h"
#include "tests/host/guards/guarded_test.h"
#include "tests/support/special_values.h"

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StepWarnings : public GuardedTest {
  protected:
    std::vector<std::string> find(GuardTime time) {
        std::vector<std::string> texts;
        const GuardedStep step = time == GuardTime::AfterStep ? after() : before();
        for (const StepWarning& warning : find_warnings(step, time)) {
            EXPECT_FALSE(warning.hint.empty());
            texts.push_back(warning.text);
        }
        return texts;
    }

    std::vector<std::string> find_of(const ParameterValues::Given& given) {
        make_step("a.b", {"Axis: integer = -1", "Components: list(integer)"}, given);
        return find(GuardTime::BeforeSamples);
    }

    void work_on(ObjectId set) { write(set, read(set)); }
};

TEST_F(StepWarnings, AreOfComponentsAndAnAxisThatWantEachOther) {
    const std::vector<std::int64_t> components = {0};
    EXPECT_THAT(find_of({}), IsEmpty());
    EXPECT_THAT(find_of({{"Axis", std::int64_t{0}}, {"Components", components}}), IsEmpty());
    const std::vector<std::int64_t> repeated = {2, 0, 2};
    EXPECT_THAT(
        find_of({{"Axis", std::int64_t{0}}, {"Components", repeated}}),
        ElementsAre("Components names 2 more than once: named twice, a component is what it "
                    "was before"));
    EXPECT_THAT(find_of({{"Components", components}}),
                ElementsAre("Components counts only along an Axis, and none is given: whole sets "
                            "are taken"));
    EXPECT_THAT(find_of({{"Axis", std::int64_t{1}}}),
                ElementsAre("Axis=1 without Components takes nothing of any set"));
    make_step("a.b", {"Axis: integer = -1"}, {{"Axis", std::int64_t{1}}});
    EXPECT_THAT(find(GuardTime::BeforeSamples), IsEmpty());
}

TEST_F(StepWarnings, AreOfAttributesThatUnitsDoNotKnow) {
    make_step("a.b", {"SourceGroup: string"}, {{"SourceGroup", std::string("A")}});
    add_set("A/X", {2}, {1, 2});
    tree_.write_attribute(add_set("A/Y", {2}, {1, 2}), "scale_factor", 0.01);
    EXPECT_THAT(find(GuardTime::BeforeSamples),
                ElementsAre("A/Y: its samples are taken as they are stored, and its attributes say "
                            "otherwise: scale_factor = 0.01"));
}

TEST_F(StepWarnings, AreOfABaselineFromSamplesThatAreMissing) {
    make_step("a.apply-set-baseline-offset", {"Axis: integer = -1"});
    std::vector<float> samples(36, 1.0F);
    samples[10] = NaN; // behind those that count
    samples[12 + 9] = NaN;
    work_on(add_set("X", {3, 12}, samples));
    work_on(add_set("Y", {2, 11}, std::vector<float>(22)));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("X: of 3 lines 1 begin with missing samples among the first 10, which "
                            "the baseline is taken from, the first is [1, :]"));
}

TEST_F(StepWarnings, AreOfLinesThatAreTheirOwnBaseline) {
    make_step("a.apply-set-baseline-offset", {"Axis: integer = -1"});
    work_on(add_set("Means", {3, 1, 1}, {5, 6, NaN}));
    work_on(add_set("X", {3, 1, 2}, {1, 2, 3, 4, 5, 6}));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("Means: of 3 lines each has 1 sample, which is its own baseline: what "
                            "was valid is 0 now",
                            "X: of 3 lines each has 2 samples, all of which are its own baseline: "
                            "its median is 0 now, whatever it was"));
}

TEST_F(StepWarnings, TakeTheLinesOfTheAxisForABaseline) {
    make_step("a.apply-set-baseline-offset", {"Axis: integer = -1"}, {{"Axis", std::int64_t{0}}});
    std::vector<float> samples(11 * 3, 1.0F);
    samples[2] = NaN;
    work_on(add_set("X", {11, 3}, samples));
    EXPECT_THAT(find(GuardTime::AfterStep), ElementsAre(HasSubstr("of 3 lines 1 begin")));
}

TEST_F(StepWarnings, AreOfRunsTooShortToBeFiltered) {
    make_step("a.apply-set-butterworth", {"Axis: integer = -1"});
    filters_ = {find_facts({5, 4, 0, Bandform::ZeroLagLowPass}, 100.0F)}; // runs of 8
    std::vector<float> samples(30, 1.0F);
    samples[2] = samples[12] = samples[15] = NaN; // runs of 2, 9, 2, 14
    work_on(add_set("X", {30}, samples));
    work_on(add_set("Y", {10}, std::vector<float>(10)));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("X: runs of fewer than 8 valid samples are too short to be filtered: "
                            "2 samples stayed as they were, 2 at the ends of lines became "
                            "missing"));
}

TEST_F(StepWarnings, NameSetsOfWhichNothingWasFiltered) {
    make_step("a.apply-set-butterworth", {"Axis: integer = -1"});
    filters_ = {find_facts({5, 4, 0, Bandform::ZeroLagLowPass}, 100.0F)};
    work_on(add_set("X", {2, 7}, std::vector<float>(14)));
    work_on(add_set("Y", {10}, std::vector<float>(10)));
    work_on(add_set("Z", {10}, std::vector<float>(10, NaN)));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("X: nothing was filtered: the longest run of valid samples has 7, the "
                            "filter takes those of 8 and more",
                            "Z: nothing was filtered: the longest run of valid samples has 0, the "
                            "filter takes those of 8 and more"));
}

TEST_F(StepWarnings, NameSetsWhoseInfinitiesGoIntoMeans) {
    make_step("a.average-set", {});
    constexpr float INFINITE = std::numeric_limits<float>::infinity();
    read(add_set("X", {3}, {1, INFINITE, -INFINITE}));
    read(add_set("Y", {3}, {1, 2, 3}));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("X: 2 of 3 samples infinite, and so are the means of their lines, or "
                            "missing"));
    make_step("a.extract-set-maximum-extrema", {});
    read(tree_.find(tree_.root(), "X").value());
    EXPECT_THAT(find(GuardTime::AfterStep), IsEmpty());
}

TEST_F(StepWarnings, NameSetsOfWhichSamplesWereNeverWritten) {
    make_step("a.b", {});
    constexpr float NEVER_WRITTEN = 9.9692099683868690e+36F; // of netCDF
    const ObjectId set = add_set("X", {4}, {1, NEVER_WRITTEN, NEVER_WRITTEN, 2});
    write(set, read(set));
    read(add_set("Y", {2}, {NEVER_WRITTEN, NaN}));
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("X: 2 of 4 samples are 9.96921e+36, by which netCDF marks what was "
                            "never written; they are taken as they are",
                            "Y: 1 of 2 samples are 9.96921e+36, by which netCDF marks what was "
                            "never written; they are taken as they are"));
}

TEST_F(StepWarnings, NameNewSetsWithMissingSamples) {
    make_step("a.average-set", {});
    for (const std::vector<float>& samples : {std::vector<float>{1, NaN, NaN}, {1, 2, 3}}) {
        const ObjectId set = observed_.create_dataset(observed_.root(),
                                                      samples[1] == 2 ? "Means/Y" : "Means/X", {3});
        write(set, samples);
    }
    EXPECT_THAT(find(GuardTime::AfterStep),
                ElementsAre("Means/X: 2 of 3 samples missing, as are samples that the set is made "
                            "of"));
}

TEST_F(StepWarnings, NameTheSourcesOfARepeatedLabel) {
    const std::vector<std::string> signatures = {"SourceGroup: string", "DestinationSet: string",
                                                 "TranslationMap: list(string)"};
    for (const char* name : {"A/A10", "A/X", "A/Y"}) {
        add_set(name, {1, 1, 2}, {1, 2});
    }
    const auto find_of_map = [&](const Texts& pairs) {
        make_step("a.average-set-2", signatures,
                  {{"SourceGroup", "A"}, {"DestinationSet", "Means"}, {"TranslationMap", pairs}});
        return find(GuardTime::BeforeSamples);
    };
    EXPECT_THAT(find_of_map({"one", "X", "two", "Y"}), IsEmpty());
    EXPECT_THAT(find_of_map({"one", "X", "one", "Y"}),
                ElementsAre("Means: of 3 columns 2 have the label 'one', the means of A/X, A/Y; "
                            "none can be named by its label"));
    // The unit opens Y for the listed A10, which is a label.
    EXPECT_THAT(find_of_map({"A10", "Y"}),
                ElementsAre("Means: of 3 columns 2 have the label 'A10', the means of A/Y, A/Y; "
                            "none can be named by its label"));
    EXPECT_THAT(find(GuardTime::AfterStep), IsEmpty());
}

TEST_F(StepWarnings, AreNoneOfOtherUnits) {
    make_step("a.apply-set-rectify", {});
    work_on(add_set("X", {3}, {NaN, 1, NaN}));
    EXPECT_THAT(find(GuardTime::AfterStep), IsEmpty());
}

} // namespace
} // namespace talvora::host

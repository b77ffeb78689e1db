#include "host/recipes/recipe_places.h"
#include "host/tree/memory_tree.h"
#include "tests/host/recipes/recipe_test.h"

namespace talvora::host {
namespace {

class RecipePlaces : public RecipeTest {
  protected:
    RecipePlaces() {
        const ObjectId group = tree_.create_group(tree_.root(), "Imu");
        tree_.create_dataset(group, "Rate", {1, 1, 5});
    }

    Texts missing(const std::string& text) {
        Texts texts;
        for (const ParameterProblem& problem : check_places(read(text), tree_)) {
            texts.push_back(problem.text);
            hints_.push_back(problem.hint);
        }
        return texts;
    }

    MemoryTree tree_;
    Texts hints_;
};

TEST_F(RecipePlaces, AreFoundInTheTree) {
    EXPECT_EQ(missing(with_parameters("      SourceGroup: Imu\n"
                                      "      SourceSets: [Imu/Rate, /Imu//Rate]\n")),
              Texts{});
    EXPECT_EQ(missing(with_parameters("      SourceGroup: ''\n")), Texts{});
    EXPECT_EQ(missing(with_parameters("      Axis: 1\n")), Texts{});
}

TEST_F(RecipePlaces, AreAllNamedWhenTheyAreMissing) {
    EXPECT_EQ(
        missing(with_parameters("      SourceGroup: Imv\n"
                                "      SourceSets: [Imu/Rate, Imu/Rat, Imu]\n"
                                "      HintGroup: Nowhere\n"
                                "      HintSet: Imu/Rate\n",
                                "apply-set-downsample")),
        (Texts{"step 'apply-set-downsample': SourceSets 'Imu/Rat' is not there (a data set is "
               "wanted)",
               "step 'apply-set-downsample': SourceSets 'Imu' is there, but is no data set "
               "that units can use",
               "step 'apply-set-downsample': SourceGroup 'Imv' is not there (a group is "
               "wanted)",
               "step 'apply-set-downsample': HintGroup 'Nowhere' is not there (a group is "
               "wanted)"}));
    EXPECT_EQ(hints_, (Texts{"nearest: Imu/Rate", "", "nearest: Imu", ""}));
}

TEST_F(RecipePlaces, AreThereWhenAnEarlierStepMakesThem) {
    const std::string average = "  - unit: average-set\n"
                                "    parameters: {SourceGroup: Imu, DestinationGroup: All/Means}\n";
    const std::string rectify =
        "  - unit: apply-set-rectify\n"
        "    parameters: {SourceGroup: All, SourceSets: [All/Means/Rate]}\n";
    EXPECT_EQ(missing("steps:\n" + average + rectify), Texts{});
    EXPECT_EQ(missing("steps:\n" + rectify + average).size(), 2U);
}

TEST_F(RecipePlaces, MayBeMatchedByPatterns) {
    EXPECT_EQ(missing(with_parameters("      SourceGroup: I*\n"
                                      "      SourceSets: ['**/Rate', 'Imu/R?te']\n")),
              Texts{});
    EXPECT_EQ(missing(with_parameters("      SourceGroup: '*/*'\n"
                                      "      SourceSets: ['Imu/F*', 'Im[n-t]/Rate']\n")),
              (Texts{"step 'apply-set-opposite': SourceSets 'Imu/F*' is not there (a data set is "
                     "wanted)",
                     "step 'apply-set-opposite': SourceSets 'Im[n-t]/Rate' is not there (a data "
                     "set is wanted)",
                     "step 'apply-set-opposite': SourceGroup '*/*' is not there (a group is "
                     "wanted)"}));
}

TEST_F(RecipePlaces, MayBeMatchedByPatternsBelowWhatAnEarlierStepMakes) {
    const std::string average = "  - unit: average-set\n"
                                "    parameters: {SourceGroup: Imu, DestinationGroup: All/Means}\n";
    const auto rectify = [](const std::string& pattern) {
        return "  - unit: apply-set-rectify\n"
               "    parameters: {SourceSets: ['" +
               pattern + "']}\n";
    };
    EXPECT_EQ(missing("steps:\n" + average + rectify("All/Means/R*")), Texts{});
    EXPECT_EQ(missing("steps:\n" + average + rectify("All/M*/Rate")), Texts{});
    EXPECT_EQ(missing("steps:\n" + average + rectify("**/Mean")), Texts{});
    EXPECT_EQ(missing("steps:\n" + average + rectify("Elsewhere/R*")).size(), 1U);
    EXPECT_EQ(missing("steps:\n" + average + rectify("All/Maxima/*")).size(), 1U);
}

} // namespace
} // namespace talvora::host

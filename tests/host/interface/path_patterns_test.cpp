#include "host/interface/path_patterns.h"
#include "host/tree/memory_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

// Imu/a2, Imu/a10, Imu/Raw/x, Foot/a2, Foot/odd*name, top
class PathPatterns : public testing::Test {
  protected:
    PathPatterns() {
        for (const char* path :
             {"Imu/a10", "Imu/a2", "Imu/Raw/x", "Foot/a2", "Foot/odd*name", "top"}) {
            tree_.create_dataset(tree_.root(), path, {3});
        }
        tree_.create_group(tree_.root(), "Empty");
    }

    Texts choose(std::string_view pattern) { return choose_sets(tree_, pattern, "walk.h5"); }

    // Of parameters of these kinds, the one with `key` after `value` was given for it.
    template <typename Value>
    Value expand(const std::string& key, const Value& value) {
        const std::vector<ParameterSignature> signatures = {
            {"SourceSets", ParameterType::StringList, {}, false},
            {"SourceGroup", ParameterType::String, {}, false},
            {"HintSet", ParameterType::String, {}, false},
            {"DestinationGroup", ParameterType::String, {}, false},
            {"NamesFilter", ParameterType::StringList, {}, false},
            {"Order", ParameterType::Integer, {}, false}};
        const ParameterValues values(signatures, {{key, value}});
        return std::get<Value>(*expand_patterns(values, tree_, "walk.h5").find(key));
    }

    static Failure failure_of(const std::function<void()>& work) {
        try {
            work();
        } catch (const Failure& failure) {
            return failure;
        }
        ADD_FAILURE() << "did not fail";
        return {ExitCode::Done, ""};
    }

    MemoryTree tree_;
};

TEST_F(PathPatterns, ChoosesSetsInNaturalOrder) {
    EXPECT_THAT(choose("Imu/*"), ElementsAre("Imu/Raw/x", "Imu/a2", "Imu/a10"));
    EXPECT_THAT(choose("*/a[0-9]"), ElementsAre("Foot/a2", "Imu/a2"));
    EXPECT_THAT(choose("**/x"), ElementsAre("Imu/Raw/x"));
}

TEST_F(PathPatterns, ChoosesAllThatAChosenGroupHolds) {
    EXPECT_THAT(choose("Imu"), ElementsAre("Imu/Raw/x", "Imu/a2", "Imu/a10"));
    EXPECT_THAT(choose("F*"), ElementsAre("Foot/a2", "Foot/odd*name"));
    EXPECT_EQ(choose("").size(), 6U);
    EXPECT_EQ(choose("**").size(), 6U);
}

TEST_F(PathPatterns, TakesAPathThatExistsAsItStands) {
    tree_.create_dataset(tree_.root(), "Foot/oddXname", {1});
    EXPECT_THAT(choose("/Foot/odd*name"), ElementsAre("Foot/odd*name"));
    EXPECT_THAT(expand("SourceSets", Texts{"Foot/odd*name"}), ElementsAre("Foot/odd*name"));
}

TEST_F(PathPatterns, NamesNoCommandForATreeInNoFile) {
    const Failure failure = failure_of([&] { choose_sets(tree_, "Imv/*", ""); });
    EXPECT_STREQ(failure.what(), "nothing matches 'Imv/*'");
    EXPECT_THAT(failure.hints(), ElementsAre("nearest: Imu"));
    EXPECT_EQ(hint_tree(""), "");
    EXPECT_EQ(join_hints("near", ""), "near");
    EXPECT_EQ(join_hints("", "list them"), "list them");
}

TEST_F(PathPatterns, NamesTheNearestWhenNothingMatches) {
    const Failure failure = failure_of([&] { choose("Imv/*"); });
    EXPECT_EQ(failure.code(), ExitCode::Input);
    EXPECT_STREQ(failure.what(), "walk.h5: nothing matches 'Imv/*'");
    EXPECT_THAT(failure.hints(),
                ElementsAre("nearest: Imu    list them: talvora-host tree walk.h5"));
}

TEST_F(PathPatterns, ListsTheGroupWhereTheNamesEnd) {
    const Failure failure = failure_of([&] { choose("Imu/gyro*"); });
    EXPECT_THAT(failure.hints().at(0), HasSubstr("in '/Imu': Raw, a2, a10"));
    const Failure empty = failure_of([&] { choose("Empty/*"); });
    EXPECT_THAT(empty.hints().at(0), HasSubstr("'Empty' is empty"));
}

TEST_F(PathPatterns, ExpandsListsOfSetsToSetsAlone) {
    EXPECT_THAT(expand("SourceSets", Texts{"Imu/*", "top"}),
                ElementsAre("Imu/a2", "Imu/a10", "top"));
    EXPECT_THAT(expand("SourceSets", Texts{"Imu/a10", "Imu/a*"}), ElementsAre("Imu/a10", "Imu/a2"));
}

TEST_F(PathPatterns, LeavesNamesWithoutWildcardsToTheUnit) {
    EXPECT_THAT(expand("SourceSets", Texts{"no/such", "top", "top"}),
                ElementsAre("no/such", "top", "top"));
    EXPECT_EQ(expand("SourceGroup", std::string("no/such")), "no/such");
}

TEST_F(PathPatterns, ExpandsASingleNameToTheOneThatMatches) {
    EXPECT_EQ(expand("SourceGroup", std::string("I*")), "Imu");
    EXPECT_EQ(expand("HintSet", std::string("**/x")), "Imu/Raw/x");
    const Failure several = failure_of([&] { expand("HintSet", std::string("Imu/*")); });
    EXPECT_STREQ(several.what(),
                 "walk.h5: HintSet=Imu/*: 2 objects match, one is taken: Imu/a2, Imu/a10");
    EXPECT_EQ(several.code(), ExitCode::Input);
}

TEST_F(PathPatterns, RefusesAPatternThatMatchesObjectsOfAnotherKind) {
    const Failure failure = failure_of([&] { expand("SourceGroup", std::string("t*p")); });
    EXPECT_STREQ(failure.what(), "walk.h5: SourceGroup=t*p: no group matches");
}

TEST_F(PathPatterns, LeavesOtherParametersAlone) {
    EXPECT_EQ(expand("DestinationGroup", std::string("I*")), "I*");
    EXPECT_THAT(expand("NamesFilter", Texts{"a*"}), ElementsAre("a*"));
    EXPECT_EQ(expand("Order", std::int64_t{4}), 4);
}

} // namespace
} // namespace talvora::host

// What a map may hold; what is wrong with one is told as mapped_import_test.py beside the command
// expects it.
#include "host/maps/map_reader.h"
#include "host/recipes/recipe_problems.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvora::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

MappedSets parse_sets(const std::string& keys, const std::vector<std::string>& settings = {},
                      const std::string& front = "") {
    return parse_import_map(front + "sets:\n  - data: '**'\n    time: first\n" + keys, "m.yaml",
                            settings)
        .sets.at(0);
}

TEST(MapReader, ReadsEveryMapThatComesWithTheProgram) {
    EXPECT_THAT(list_shipped_maps(), ElementsAre("mat", "nwb"));
    for (const std::string& name : list_shipped_maps()) {
        const ImportMap map = read_import_map(name, {});
        EXPECT_EQ(map.name, name);
        EXPECT_FALSE(map.description.empty());
        EXPECT_THAT(map.sets, SizeIs(1));
    }
    EXPECT_FALSE(find_shipped_map("csv"));
}

TEST(MapReader, TakesAPlaceInEachOfItsForms) {
    const MappedSets sets = parse_sets("    scale: {attribute: gain}\n"
                                       "    offset: {attribute: zero, of: ../info}\n"
                                       "    rate: {dataset: /fs}\n"
                                       "    start: {value: 2.5}\n"
                                       "    unit: V\n"
                                       "    component_scale: {value: [1, 2]}\n");
    ASSERT_THAT(sets.scale, SizeIs(1));
    EXPECT_EQ(sets.scale[0].kind, ValuePlace::Kind::Attribute);
    EXPECT_EQ(sets.scale[0].attribute, "gain");
    EXPECT_EQ(sets.scale[0].object, "");
    EXPECT_EQ(sets.offset.at(0).object, "../info");
    EXPECT_EQ(sets.rate.at(0).kind, ValuePlace::Kind::DataSet);
    EXPECT_EQ(sets.rate.at(0).object, "/fs");
    EXPECT_EQ(sets.start.at(0).constant, AttributeValue(NumberArray{{2.5}, {1}}));
    EXPECT_EQ(sets.unit.at(0).constant, AttributeValue(TextArray{{"V"}, {1}}));
    EXPECT_EQ(sets.component_scale.at(0).constant, AttributeValue(NumberArray{{1, 2}, {2}}));
    EXPECT_THAT(sets.times, IsEmpty());
}

TEST(MapReader, TakesPlacesOneAfterTheOther) {
    const MappedSets sets = parse_sets("    rate: [{attribute: rate}, {dataset: fs}, 50]\n");
    ASSERT_THAT(sets.rate, SizeIs(3));
    EXPECT_EQ(sets.rate[2].kind, ValuePlace::Kind::Constant);
}

TEST(MapReader, TakesValuesAloneAsOnePlace) {
    const MappedSets sets = parse_sets("    scale: [10, 100, 1000]\n    names: [a, b]\n");
    ASSERT_THAT(sets.scale, SizeIs(1));
    EXPECT_EQ(sets.scale[0].constant, AttributeValue(NumberArray{{10, 100, 1000}, {3}}));
    ASSERT_THAT(sets.names, SizeIs(1));
    EXPECT_EQ(sets.names[0].constant, AttributeValue(TextArray{{"a", "b"}, {2}}));
}

TEST(MapReader, LeavesAPlaceOutWhoseVariableIsEmpty) {
    const std::string keys = "    names: {dataset: '${names}'}\n";
    const std::string variables = "variables: {names: ''}\n";
    EXPECT_THAT(parse_sets(keys, {}, variables).names, IsEmpty());
    EXPECT_EQ(parse_sets(keys, {"names=x/y"}, variables).names.at(0).object, "x/y");
}

TEST(MapReader, CountsDimensionsFromEitherEnd) {
    const auto read_time = [](const std::string& word) {
        return parse_import_map("sets: [{data: x, time: " + word + "}]\n", "m.yaml", {})
            .sets.at(0)
            .time_dimension;
    };
    EXPECT_EQ(read_time("first"), 0);
    EXPECT_EQ(read_time("last"), -1);
    EXPECT_EQ(read_time("2"), 2);
    EXPECT_EQ(read_time("-2"), -2);
    EXPECT_THROW(read_time("32"), RecipeError);
    EXPECT_THROW(read_time("-33"), RecipeError);
    EXPECT_THROW(read_time("1.5"), RecipeError);
}

TEST(MapReader, TellsEverythingThatIsWrong) {
    try {
        parse_sets("    rate: fast\n    scal: 2\n    name: '{x'\n");
        FAIL() << "read";
    } catch (const RecipeError& error) {
        std::vector<std::string> texts;
        for (const ParameterProblem& problem : error.problems()) {
            texts.push_back(problem.text.substr(0, problem.text.find(": ")));
        }
        EXPECT_THAT(texts, ElementsAre("m.yaml:4:11", "m.yaml:5:5", "m.yaml:6:11"));
    }
}

} // namespace
} // namespace talvora::host

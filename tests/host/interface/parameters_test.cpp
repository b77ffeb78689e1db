#include "host/interface/parameters.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace talvora::host {

namespace {

using testing::HasSubstr;

using Texts = std::vector<std::string>;
using Integers = std::vector<std::int64_t>;

const std::vector<ParameterSignature> FILTER_SIGNATURES{
    parse_signature("SourceSets: list(string)", false),
    parse_signature("SourceGroup: string", true),
    parse_signature("ScanRecursive: boolean = false", false),
    parse_signature("Axis: integer = -1", false),
    parse_signature("CutoffFrequency: number", false),
    parse_signature("Components: list(integer)", false),
    parse_signature(R"(Bandform: string = "ZeroLagLowPass")", false)};

ParameterValues read(Texts words) {
    words.push_back("SourceGroup=g");
    return read_parameters(FILTER_SIGNATURES, words);
}

template <typename Value>
Value value_of(const ParameterValues& values, const char* key) {
    const ParameterValue* value = values.find(key);
    EXPECT_NE(value, nullptr) << key;
    return value == nullptr ? Value{} : std::get<Value>(*value);
}

Texts problems_of(const Texts& words) {
    try {
        read_parameters(FILTER_SIGNATURES, words);
    } catch (const ParameterError& error) {
        Texts texts;
        for (const ParameterProblem& problem : error.problems()) {
            texts.push_back(problem.text);
        }
        return texts;
    }
    return {};
}

// ---------------------------------------------------------------------------

TEST(Signatures, ReadsEveryType) {
    const std::pair<const char*, ParameterType> types[] = {
        {"K: string", ParameterType::String},
        {"K: boolean", ParameterType::Boolean},
        {"K: integer", ParameterType::Integer},
        {"K: number", ParameterType::Number},
        {"K: list(string)", ParameterType::StringList},
        {"K: list(integer)", ParameterType::IntegerList}};
    for (const auto& [text, type] : types) {
        const ParameterSignature signature = parse_signature(text, true);
        EXPECT_EQ(signature.key, "K");
        EXPECT_EQ(signature.type, type) << text;
        EXPECT_FALSE(signature.default_value.has_value()) << text;
        EXPECT_TRUE(signature.required);
        EXPECT_EQ("K: " + std::string(type_name(type)), text);
    }
}

TEST(Signatures, ReadsDefaultsOfTheirType) {
    EXPECT_EQ(parse_signature("A: boolean = false", false).default_value, ParameterValue(false));
    EXPECT_EQ(parse_signature("A: integer = -1", false).default_value,
              ParameterValue(std::int64_t{-1}));
    EXPECT_EQ(parse_signature("A: number = 0.0", false).default_value, ParameterValue(0.0));
    EXPECT_EQ(parse_signature(R"(A: string = "a = b")", false).default_value,
              ParameterValue(std::string("a = b")));
    EXPECT_EQ(parse_signature(R"(A: string = "")", false).default_value,
              ParameterValue(std::string()));
}

TEST(Signatures, RefusesWhatIsNoSignature) {
    for (const char* text :
         {"", "Axis", "Axis:integer", ": integer", "A b: integer", "1A: integer", "Axis: int",
          "Axis: integer = ", "Axis: integer = x", "Axis: integer = 1 ", "A: boolean = 0",
          "A: string = text", "A: string = \"", "A: list(string) = \"a\""}) {
        EXPECT_THROW(parse_signature(text, false), std::invalid_argument) << text;
    }
}

TEST(Signatures, ShowsValuesAsSignaturesWriteThem) {
    EXPECT_EQ(format_value(false), "false");
    EXPECT_EQ(format_value(std::int64_t{-1}), "-1");
    EXPECT_EQ(format_value(0.0), "0.0");
    EXPECT_EQ(format_value(12.5), "12.5");
    EXPECT_EQ(format_value(std::string("text")), "\"text\"");
    EXPECT_EQ(format_value(Integers{1, -2}), "[1, -2]");
    EXPECT_EQ(format_value(Texts{"a", "b"}), "[\"a\", \"b\"]");
}

// ---------------------------------------------------------------------------

TEST(Parameters, TellsParametersFromFiles) {
    EXPECT_TRUE(is_parameter_word("Axis=1"));
    EXPECT_TRUE(is_parameter_word("A_1="));
    EXPECT_FALSE(is_parameter_word("walk.h5"));
    EXPECT_FALSE(is_parameter_word("./a=b.h5"));
    EXPECT_FALSE(is_parameter_word("1a=b"));
    EXPECT_FALSE(is_parameter_word("=b"));
}

TEST(Parameters, ReadsEachTypeWhole) {
    const ParameterValues values =
        read({"ScanRecursive=true", "Axis=2", "CutoffFrequency=1.5e1", "Bandform=a=b"});
    EXPECT_TRUE(value_of<bool>(values, "ScanRecursive"));
    EXPECT_EQ(value_of<std::int64_t>(values, "Axis"), 2);
    EXPECT_EQ(value_of<double>(values, "CutoffFrequency"), 15.0);
    EXPECT_EQ(value_of<std::string>(values, "Bandform"), "a=b");
}

TEST(Parameters, GivesDeclaredDefaults) {
    const ParameterValues values = read({});
    EXPECT_FALSE(value_of<bool>(values, "ScanRecursive"));
    EXPECT_EQ(value_of<std::int64_t>(values, "Axis"), -1);
    EXPECT_EQ(value_of<std::string>(values, "Bandform"), "ZeroLagLowPass");
}

TEST(Parameters, LeavesTheRestWithoutAValue) {
    const ParameterValues values = read({});
    EXPECT_EQ(values.find("SourceSets"), nullptr);
    EXPECT_EQ(values.find("CutoffFrequency"), nullptr);
    EXPECT_EQ(values.find("Nothing"), nullptr);
    EXPECT_EQ(values.signature("Nothing"), nullptr);
}

TEST(Parameters, BuildsListsInOrder) {
    const ParameterValues values =
        read({"SourceSets=A/x", "Components=2", "SourceSets=A/y", "Components=-1"});
    EXPECT_EQ(value_of<Texts>(values, "SourceSets"), (Texts{"A/x", "A/y"}));
    EXPECT_EQ(value_of<Integers>(values, "Components"), (Integers{2, -1}));
}

TEST(Parameters, TakesNothingBehindTheEqualsSignAsTheEmptyText) {
    const ParameterValues values = read({"Bandform=", "SourceSets="});
    EXPECT_EQ(value_of<std::string>(values, "Bandform"), "");
    EXPECT_EQ(value_of<Texts>(values, "SourceSets"), Texts{""});
}

TEST(Parameters, ReadsInfinityNanAndTheExtremes) {
    EXPECT_TRUE(std::isinf(value_of<double>(read({"CutoffFrequency=-inf"}), "CutoffFrequency")));
    EXPECT_TRUE(std::isnan(value_of<double>(read({"CutoffFrequency=nan"}), "CutoffFrequency")));
    EXPECT_EQ(value_of<std::int64_t>(read({"Axis=-9223372036854775808"}), "Axis"),
              std::numeric_limits<std::int64_t>::min());
}

TEST(Parameters, RefusesWhatIsNotOfTheType) {
    for (const char* word :
         {"ScanRecursive=1", "ScanRecursive=True", "Axis=1.0", "Axis=", "Axis=1x", "Axis= 1",
          "Axis=9223372036854775808", "CutoffFrequency=1,5", "CutoffFrequency=", "Components=x",
          "CutoffFrequency=1e999"}) {
        EXPECT_EQ(problems_of({word, "SourceGroup=g"}).size(), 1U) << word;
    }
    EXPECT_EQ(problems_of({"Axis=x", "SourceGroup=g"}),
              Texts{"parameter 'Axis' cannot be 'x' (allowed: a whole number of 64 bits)"});
}

TEST(Parameters, RefusesARepeatedKeyThatIsNoList) {
    EXPECT_EQ(problems_of({"Axis=1", "Axis=1", "SourceGroup=g"}),
              Texts{"parameter 'Axis' is given twice and is no list"});
}

TEST(Parameters, ReportsAllProblemsAtOnce) {
    const Texts problems = problems_of({"Axis=x", "Cutoff=3", "ScanRecursive=yes"});
    ASSERT_EQ(problems.size(), 4U);
    EXPECT_THAT(problems[0], HasSubstr("'Axis'"));
    EXPECT_THAT(problems[1], HasSubstr("unknown parameter 'Cutoff' (known: SourceSets, "));
    EXPECT_THAT(problems[2], HasSubstr("'yes' (allowed: true or false)"));
    EXPECT_EQ(problems[3], "parameter 'SourceGroup' is missing");
}

TEST(Parameters, SuggestsTheNearestKey) {
    try {
        read({"CutofFrequency=1"});
        FAIL();
    } catch (const ParameterError& error) {
        EXPECT_EQ(error.problems().at(0).hint, "did you mean 'CutoffFrequency'?");
        EXPECT_EQ(error.what(), error.problems().at(0).text);
    }
}

TEST(Parameters, CountsARequiredKeyWithAWrongValueAsGiven) {
    const std::vector signatures{parse_signature("Order: integer", true)};
    try {
        read_parameters(signatures, Texts{"Order=x"});
        FAIL();
    } catch (const ParameterError& error) {
        EXPECT_EQ(error.problems().size(), 1U);
    }
}

} // namespace

} // namespace talvora::host

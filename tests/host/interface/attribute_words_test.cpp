#include "host/interface/attribute_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace talvora::host {
namespace {

using Kind = AttributeType::Kind;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using Texts = std::vector<std::string>;

constexpr double INFINITE = std::numeric_limits<double>::infinity();

AttributeWord read_one(const std::string& word) {
    return read_attribute_words(std::vector{word}).at(0);
}

NewAttribute make_new(const std::string& word) {
    return make_attribute(read_one(word), std::nullopt);
}

AttributeValue make_over(const std::string& word, const AttributeType& type) {
    return make_attribute(read_one(word), type).value;
}

AttributeType type_of(SampleType number, const Extents& extents = {}) {
    return {Kind::Number, number, false, std::string(name_sample_type(number)), extents};
}

AttributeType text_type(const Extents& extents = {}, bool is_ascii = false) {
    return {Kind::Text, SampleType::Float32, is_ascii, "text", extents};
}

std::string problem_of(const Texts& words) {
    try {
        read_attribute_words(words);
    } catch (const ParameterError& error) {
        return error.problems().front().text + " | " + error.problems().front().hint;
    }
    return "none";
}

TEST(AttributeWords, ArePartedByCommasAndJoinedByName) {
    EXPECT_THAT(read_one("Labels=X,Y").items, ElementsAre("X", "Y"));
    EXPECT_THAT(read_one("Note=").items, ElementsAre(""));
    EXPECT_THAT(read_one("Note=a=b").items, ElementsAre("a=b"));
    const auto words = read_attribute_words(Texts{"Labels=X", "A=1", "Labels=Y,Z"});
    ASSERT_EQ(words.size(), 2U);
    EXPECT_THAT(words[0].items, ElementsAre("X", "Y", "Z"));
}

TEST(AttributeWords, NameATypeBehindTheName) {
    EXPECT_THAT(read_one("Note:text=a, b").items, ElementsAre("a, b"));
    EXPECT_EQ(read_one("Note:text=5").type->kind, Kind::Text);
    EXPECT_EQ(read_one("sample size:int16=5,6").type->number, SampleType::Int16);
    EXPECT_EQ(read_one("sample size:int16=5,6").name, "sample size");
}

TEST(AttributeWords, SayWhatIsWrongWithThem) {
    EXPECT_THAT(problem_of({"Note"}), HasSubstr("'Note' sets no attribute (allowed: Name=Value)"));
    EXPECT_THAT(problem_of({"=5"}), HasSubstr("'=5' sets no attribute"));
    EXPECT_THAT(problem_of({"A:flot32=5"}),
                AllOf(HasSubstr("no type 'flot32' (known: text, float16, float32"),
                      HasSubstr("did you mean 'float32'?")));
    EXPECT_THAT(problem_of({"A:int16=0.5"}),
                HasSubstr("attribute 'A' cannot be '0.5' as int16 (allowed: a whole number"));
    EXPECT_THAT(problem_of({"A:int16=1", "A:text=x"}), HasSubstr("is given as int16 and as text"));
    EXPECT_THAT(problem_of({"A=\xff"}), HasSubstr("is no UTF-8"));
}

TEST(AttributeWords, HoldARateToWhatARateIs) {
    for (const char* value : {"0", "-5", "nan", "inf", "fast", "", "1,2", "1e999"}) {
        EXPECT_THAT(problem_of({std::string("SampleRate=") + value}),
                    HasSubstr("(allowed: one finite number above 0, in Hz)"))
            << value;
    }
    EXPECT_EQ(problem_of({"SampleRate=0.5"}), "none");
    EXPECT_THAT(problem_of({"SampleRate:text=5"}), HasSubstr("as text"));
    EXPECT_THAT(problem_of({"StartTime=inf"}), HasSubstr("(allowed: one finite number"));
    EXPECT_EQ(problem_of({"StartTime=-5"}), "none");
}

TEST(NewAttributes, AreWhatTheirValuesAre) {
    EXPECT_EQ(make_new("Trial=5").value, AttributeValue(std::int64_t{5}));
    EXPECT_EQ(make_new("Trial=5").number, SampleType::Int64);
    EXPECT_EQ(make_new("Gain=0.5").value, AttributeValue(0.5));
    EXPECT_EQ(make_new("Gain=1,0.5").value, AttributeValue(NumberArray{{1, 0.5}, {2}}));
    EXPECT_EQ(make_new("Note=1,x").value, AttributeValue(TextArray{{"1", "x"}, {2}}));
    EXPECT_EQ(make_new("Note=left").value, AttributeValue(std::string("left")));
    EXPECT_EQ(make_new("Note:text=5").value, AttributeValue(std::string("5")));
    EXPECT_EQ(make_new("Subject=007").value, AttributeValue(std::string("007")));
    EXPECT_EQ(make_new("Subject=-01,2").value, AttributeValue(TextArray{{"-01", "2"}, {2}}));
    EXPECT_EQ(make_new("Subject:int64=007").value, AttributeValue(std::int64_t{7}));
    EXPECT_EQ(make_new("Gain=0,-0.5").value, AttributeValue(NumberArray{{0, -0.5}, {2}}));
    EXPECT_EQ(make_new("Trial:uint8=5").number, SampleType::UInt8);
}

TEST(NewAttributes, AreWrittenAsTheHostWritesThem) {
    EXPECT_EQ(make_new("SampleRate=100").number, SampleType::Float32);
    EXPECT_EQ(make_new("SampleRate=100").value, AttributeValue(100.0));
    EXPECT_EQ(make_new("StartTime=5").number, SampleType::Float64);
    EXPECT_EQ(make_new("Labels=7").value, AttributeValue(TextArray{{"7"}, {1}}));
    EXPECT_EQ(make_new("Unit=1").value, AttributeValue(std::string("1")));
    EXPECT_EQ(make_new("Unit=N,V").value, AttributeValue(TextArray{{"N", "V"}, {2}}));
}

TEST(OldAttributes, KeepTheirTypes) {
    EXPECT_TRUE(make_attribute(read_one("A=5"), type_of(SampleType::Float32)).keeps_type);
    EXPECT_FALSE(make_attribute(read_one("A:int8=5"), type_of(SampleType::Float32)).keeps_type);
    EXPECT_EQ(make_over("A=5", type_of(SampleType::Float32)), AttributeValue(5.0));
    EXPECT_EQ(make_over("A=5", text_type()), AttributeValue(std::string("5")));
    EXPECT_EQ(make_over("A=5", type_of(SampleType::Int16, {1})),
              AttributeValue(IntegerArray{{5}, {1}}));
    EXPECT_EQ(make_over("A=1,2,3,4", type_of(SampleType::Int16, {2, 2})),
              AttributeValue(IntegerArray{{1, 2, 3, 4}, {2, 2}}));
}

TEST(OldAttributes, RefuseWhatIsOfAnotherKind) {
    const auto make = [](const std::string& word, const AttributeType& type) {
        return [=] { make_over(word, type); };
    };
    EXPECT_THAT(make("A=0.5", type_of(SampleType::Int16)),
                ThrowsMessage<AttributeMisfit>(HasSubstr("'0.5' does not fit")));
    EXPECT_THAT(make("A=x,y", type_of(SampleType::Float64)),
                ThrowsMessage<AttributeMisfit>(HasSubstr("'x', 'y' does not fit")));
    EXPECT_THAT(make("A=\u00b0C", text_type({}, true)),
                ThrowsMessage<AttributeMisfit>(HasSubstr("does not fit")));
    EXPECT_THAT(make("SampleRate=100", text_type()),
                ThrowsMessage<AttributeMisfit>(HasSubstr("does not fit")));
    EXPECT_THAT(make("A=1,2", type_of(SampleType::Int16, {2, 2})),
                ThrowsMessage<AttributeMisfit>(HasSubstr("[2, 2]")));
}

TEST(OldAttributes, TellWhatWasCut) {
    EXPECT_TRUE(holds_value(0.1F, 0.1));
    EXPECT_FALSE(holds_value(std::numeric_limits<float>::infinity(), 1e300));
    EXPECT_TRUE(holds_value(std::numeric_limits<float>::infinity(), INFINITE));
    EXPECT_TRUE(holds_value(NAN, static_cast<double>(NAN)));
    EXPECT_FALSE(holds_value(0.0F, 1e-50));
    EXPECT_TRUE(holds_value(1e-45F, 1e-45));
    EXPECT_TRUE(holds_value(0.0F, -0.0));
    EXPECT_FALSE(holds_value(NumberArray{{1, 0}, {2}}, NumberArray{{1, -1e-50}, {2}}));
    EXPECT_FALSE(holds_value(std::int64_t{127}, std::int64_t{128}));
    EXPECT_FALSE(holds_value(std::string("left"), std::string("left foot")));
    EXPECT_FALSE(holds_value(NumberArray{{1, INFINITE}, {2}}, NumberArray{{1, 1e300}, {2}}));
}

} // namespace
} // namespace talvora::host

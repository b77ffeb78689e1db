#include "host/interface/messages.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace talvora::host {

namespace {

FilledMessage fill(const char* message, ...) {
    std::va_list arguments;
    va_start(arguments, message);
    FilledMessage filled = fill_message(message, arguments);
    va_end(arguments);
    return filled;
}

template <typename... Arguments>
std::string format(const char* message, Arguments... arguments) {
    return fill(message, arguments...).text;
}

constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t MAX = std::numeric_limits<std::uint64_t>::max();

TEST(Messages, KeepsATextWithoutPlaceholders) {
    EXPECT_EQ(format("Invalid order"), "Invalid order");
}

TEST(Messages, FillsInTexts) {
    EXPECT_EQ(format("No data set '%s' found in '%s'", "Imu/acc", "walk"),
              "No data set 'Imu/acc' found in 'walk'");
}

TEST(Messages, ShowsAll64BitsWhateverTheLengthModifier) {
    for (const char* message : {"%i", "%d", "%hhd", "%li", "%lld", "%zd", "%jd"}) {
        EXPECT_EQ(format(message, MIN), "-9223372036854775808") << message;
    }
    for (const char* message : {"%u", "%hu", "%lu", "%llu", "%zu"}) {
        EXPECT_EQ(format(message, MAX), "18446744073709551615") << message;
    }
    EXPECT_EQ(format("%x %lX %o", MAX, std::uint64_t{0xAB}, std::uint64_t{8}),
              "ffffffffffffffff AB 10");
}

TEST(Messages, ShowsReals) {
    EXPECT_EQ(format("%f|%.2f|%g|%e|%lf", 0.5, 2.0 / 3.0, 1e-9, 1500.0, 0.25),
              "0.500000|0.67|1e-09|1.500000e+03|0.250000");
}

TEST(Messages, KeepsToFlagsWidthAndPrecision) {
    EXPECT_EQ(format("[%5s|%-5s|%.2s]", "ab", "ab", "abcd"), "[   ab|ab   |ab]");
    EXPECT_EQ(format("[%05d|%+d|%-4d|%#x]", std::int64_t{42}, std::int64_t{1}, std::int64_t{7},
                     std::uint64_t{255}),
              "[00042|+1|7   |0xff]");
    EXPECT_EQ(format("[%8.3f]", 3.14159), "[   3.142]");
}

TEST(Messages, ShowsLettersAndPerCentSigns) {
    EXPECT_EQ(format("%c is %d%%", std::int64_t{'x'}, std::int64_t{50}), "x is 50%");
    EXPECT_EQ(format("100%%"), "100%");
}

TEST(Messages, FillsInBraces) {
    EXPECT_EQ(format("Component {} of {} is out of range", std::uint64_t{7}, MAX),
              "Component 7 of 18446744073709551615 is out of range");
}

TEST(Messages, LeavesBracesAloneBesideConversions) {
    EXPECT_EQ(format("{} %s", "a"), "{} a");
}

TEST(Messages, LeavesWhatIsNoConversionAsItIs) {
    EXPECT_EQ(format("%n %y % 50%"), "%n %y % 50%");
    EXPECT_EQ(format("%*d"), "%*d");
    EXPECT_EQ(format("%999999999d %.99999f"), "%999999999d %.99999f");
    EXPECT_EQ(format("%"), "%");
    EXPECT_EQ(format("{"), "{");
    EXPECT_EQ(format("{0} {:x}"), "{0} {:x}");
}

TEST(Messages, SurvivesNullTexts) {
    EXPECT_EQ(format("'%s'", nullptr), "'(null)'");
}

TEST(Messages, TellWhatTheirArgumentsWere) {
    const FilledMessage filled = fill("%s has %d of %lu", "acc", std::int64_t{-1}, MAX - 1);
    EXPECT_EQ(filled.integers, (std::vector<std::uint64_t>{MAX, MAX - 1}));
    EXPECT_FALSE(filled.has_null_text);
    EXPECT_TRUE(fill("'%s' in '%s'", "acc", nullptr).has_null_text);
}

TEST(Messages, CountsOnAfterFlagsThatDoNotFit) {
    const std::string text = format("%+s %s", "first", "second");
    EXPECT_TRUE(text.ends_with(" second")) << text;
}

} // namespace

} // namespace talvora::host

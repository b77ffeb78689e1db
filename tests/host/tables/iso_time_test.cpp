#include "host/tables/iso_time.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

double seconds_of(std::string_view text) {
    return parse_iso_time(text).value_or(IsoTime{-1, false}).seconds;
}

// Seconds as told by: date -u -d TEXT +%s
TEST(ParseIsoTime, CountsSecondsSince1970) {
    EXPECT_EQ(seconds_of("2026-11-21T09:30:00Z"), 1795253400);
    EXPECT_EQ(seconds_of("2026-11-21 09:30"), 1795253400);
    EXPECT_EQ(seconds_of("2026-11-21T09:30:00.125Z"), 1795253400.125);
    EXPECT_EQ(seconds_of("2026-11-21T09:30:00,5"), 1795253400.5);
    EXPECT_EQ(seconds_of("1969-12-31T23:59:58"), -2);
}

TEST(ParseIsoTime, TakesTheZoneOff) {
    EXPECT_EQ(seconds_of("2024-02-29T12:00:00+05:30"), 1709188200);
    EXPECT_EQ(seconds_of("2024-02-29T12:00:00+0530"), 1709188200);
    EXPECT_EQ(seconds_of("2024-02-29T04:30:00-02"), 1709188200);
    EXPECT_TRUE(parse_iso_time("2024-02-29T12:00+05:30")->has_zone);
    EXPECT_TRUE(parse_iso_time("2024-02-29T12:00z")->has_zone);
    EXPECT_FALSE(parse_iso_time("2024-02-29T12:00")->has_zone);
}

TEST(ParseIsoTime, TakesNothingElse) {
    for (const char* text :
         {"", "12:30:05", "2024-02-29", "2023-02-29T12:00", "2024-13-01T12:00", "2024-02-29T24:00",
          "2024-02-29T12:60", "2024-02-29T12:00:60", "2024-02-29T12:00:", "2024-02-29T12:00:00.",
          "2024-02-29T12:00:00 Z", "2024-02-29X12:00", "29.02.2024 12:00:00", "2024-02-29T12:00+5",
          "2024-02-29T12:00+25:00", "2024-02-29T1a:00", "2024-02-29T12:00Zx",
          "2024-02-29T12:00:00.5.5"}) {
        EXPECT_FALSE(parse_iso_time(text).has_value()) << text;
    }
}

} // namespace
} // namespace talvora::host

#include "host/tree/history_attribute.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(HistoryAttribute, CountsItsParts) {
    EXPECT_EQ(name_history_part(1), "talvora_history");
    EXPECT_EQ(name_history_part(2), "talvora_history_2");
    EXPECT_EQ(name_history_part(12), "talvora_history_12");
}

TEST(HistoryAttribute, IsKnownByTheNameOfAnyPart) {
    for (const char* name : {"talvora_history", "talvora_history_2", "talvora_history_12"}) {
        EXPECT_TRUE(is_history_part(name)) << name;
    }
    for (const char* name : {"", "talvora", "talvora_history_", "talvora_history2",
                             "talvora_history_two", "talvora_history_2b", "my_talvora_history"}) {
        EXPECT_FALSE(is_history_part(name)) << name;
    }
}

} // namespace
} // namespace talvora::host

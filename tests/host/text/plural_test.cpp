#include "host/text/plural.h"

#include <gtest/gtest.h>

namespace talvora::host {
namespace {

TEST(CountThings, PutsAnSBehindAllButOne) {
    EXPECT_EQ(count_things(0, "sample"), "0 samples");
    EXPECT_EQ(count_things(1, "sample"), "1 sample");
    EXPECT_EQ(count_things(2, "data set"), "2 data sets");
    EXPECT_EQ(count_things(UINT64_MAX, "byte"), "18446744073709551615 bytes");
}

} // namespace
} // namespace talvora::host

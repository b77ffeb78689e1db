#include "host/validate/guard_pages.h"
#include "host/validate/held_mappings.h"

#include <gtest/gtest.h>

namespace talvora::host {

namespace {

// Addresses alone count: nothing is mapped here.
unsigned char* page(std::size_t index) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<unsigned char*>((index + 1) * page_size());
}

class Mappings : public testing::Test {
  protected:
    Mappings() { HeldMappings::remove(page(0), 100 * page_size()); }
    static std::size_t count_pages() { return HeldMappings::byte_count() / page_size(); }
};

TEST_F(Mappings, CountWholePages) {
    HeldMappings::add(page(10), 1);
    HeldMappings::add(page(20), page_size() + 1);
    EXPECT_EQ(count_pages(), 3U);
}

TEST_F(Mappings, AreGivenBackInParts) {
    HeldMappings::add(page(10), 10 * page_size());
    HeldMappings::remove(page(12), 3 * page_size());
    EXPECT_EQ(count_pages(), 7U);
    HeldMappings::remove(page(8), 4 * page_size());
    EXPECT_EQ(count_pages(), 5U);
    HeldMappings::remove(page(0), 100 * page_size());
    EXPECT_EQ(count_pages(), 0U);
}

TEST_F(Mappings, TakeThePlaceOfOthers) {
    HeldMappings::add(page(10), 4 * page_size());
    HeldMappings::add(page(12), 4 * page_size());
    EXPECT_EQ(count_pages(), 6U);
}

} // namespace

} // namespace talvora::host

#include "host/validate/guarded_heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace talvora::host {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StrEq;

class GuardedHeaps : public testing::TestWithParam<GuardedEnd> {
  protected:
    void SetUp() override {
        GuardedHeap::open(GetParam(), 0x5A);
        GuardedHeap::settle();
    }
    static unsigned char* allocate(std::size_t size, BlockOwner owner = BlockOwner::Plugin) {
        return static_cast<unsigned char*>(GuardedHeap::allocate(size, owner));
    }
};

TEST_P(GuardedHeaps, FillsABlockAndAlignsItAsMallocDoes) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 4096U, 5000U}) {
        unsigned char* block = allocate(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t), 0U);
        EXPECT_TRUE(std::all_of(block, block + size, [](unsigned char b) { return b == 0x5A; }));
        EXPECT_TRUE(GuardedHeap::contains(block));
        EXPECT_EQ(GuardedHeap::size_of(block), size);
        GuardedHeap::release(block);
    }
    const HeapSettlement settlement = GuardedHeap::settle();
    EXPECT_EQ(settlement.held_blocks, 0U);
    EXPECT_THAT(settlement.block_problems, IsEmpty());
}

TEST_P(GuardedHeaps, CountsWhatWasNotFreedByItsOwner) {
    allocate(10, BlockOwner::Record);
    allocate(20, BlockOwner::Record);
    allocate(300);
    const HeapSettlement settlement = GuardedHeap::settle();
    EXPECT_EQ(settlement.unfreed_records, 2U);
    EXPECT_EQ(settlement.unfreed_record_bytes, 30U);
    EXPECT_EQ(settlement.held_blocks, 1U);
    EXPECT_EQ(settlement.held_bytes, 300U);
}

TEST_P(GuardedHeaps, TellsOfABlockThatWasFreedTwiceOrInItsMidst) {
    unsigned char* block = allocate(40, BlockOwner::Record);
    GuardedHeap::release(block + 8);
    GuardedHeap::release(block);
    GuardedHeap::release(block);
    EXPECT_THAT(GuardedHeap::settle().record_problems,
                ElementsAre(HasSubstr("not its beginning"), HasSubstr("freed twice")));
}

TEST_P(GuardedHeaps, TellsOfABytePastTheEndInsideThePage) {
    unsigned char* block = allocate(5);
    block[5] = 1;
    GuardedHeap::release(block);
    EXPECT_THAT(GuardedHeap::settle().block_problems, ElementsAre(HasSubstr("past its end")));
}

TEST_P(GuardedHeaps, ExplainsAnAddressBesideABlock) {
    const bool is_back = GetParam() == GuardedEnd::Back;
    unsigned char* block = allocate(32);
    allocate(32);
    EXPECT_THAT(
        GuardedHeap::explain(is_back ? block + 32 : block - 1, true),
        StrEq(is_back ? "wrote past the end of a block of the plug-in's own (32 bytes)"
                      : "wrote before the beginning of a block of the plug-in's own (32 bytes)"));
    EXPECT_THAT(GuardedHeap::explain(this, false), StrEq(""));
}

INSTANTIATE_TEST_SUITE_P(AtEitherEnd, GuardedHeaps,
                         testing::Values(GuardedEnd::Back, GuardedEnd::Front));

} // namespace

} // namespace talvora::host

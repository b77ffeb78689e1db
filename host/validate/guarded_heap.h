// A heap whose blocks stand between closed pages, for what a plug-in must free and for
// what it allocates itself.
//
// A block's end (or its beginning, as chosen) touches a closed page; on the other side up
// to a page of known bytes shows what was written there when the block is settled. A freed
// block is closed and its addresses are not used again before the blocks are settled.
//
// One thread only. Allocates nothing on the ordinary heap while it allocates or frees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace talvora::host {

// Which end of a block the closed page touches.
enum class GuardedEnd { Back, Front };

// Whose block it is: a host record's, which the plug-in must free exactly once, one that the
// plug-in allocated, or a copy of a host table, which is the host's and good for one call.
enum class BlockOwner : std::uint8_t { Record, Plugin, Table };

struct HeapSettlement {
    // Record buffers that were not freed.
    std::size_t unfreed_records = 0;
    std::size_t unfreed_record_bytes = 0;
    std::set<std::string> unfreed_origins;
    // Blocks of the plug-in's own that it still holds.
    std::size_t held_blocks = 0;
    std::size_t held_bytes = 0;
    // Freed twice, written outside, and the like: a sentence each, ten at most.
    std::vector<std::string> record_problems;
    std::vector<std::string> block_problems;
};

class GuardedHeap {
  public:
    // Of addresses alone: what is settled gives its memory back, but not its addresses, so
    // that a pointer kept from an earlier call points to nothing.
    static constexpr std::size_t ADDRESS_COUNT = std::size_t{1} << 34;

    // Blocks are filled with `fill` when they are made. Throws std::bad_alloc when no
    // range of addresses can be had.
    static void open(GuardedEnd end, unsigned char fill);

    // Null when the heap is full or not open: the caller turns to the ordinary one. `origin`,
    // a literal, names the slot that the block is made for.
    static void* allocate(std::size_t byte_count, BlockOwner owner,
                          std::size_t alignment = alignof(std::max_align_t),
                          const char* origin = nullptr);
    static bool contains(const void* address);
    // Of an address that the heap contains.
    static void release(void* address);
    static std::size_t size_of(const void* address);

    // Closes a block that may be read no more; it counts as freed.
    static void retire(void* address);

    // What became of the blocks since the last time. Forgets them all.
    static HeapSettlement settle();

    // One line on the block that an address stands in or beside; empty when there is none.
    // Allocates nothing; the text is good until the next call.
    static const char* explain(const void* address, bool is_write);
};

} // namespace talvora::host

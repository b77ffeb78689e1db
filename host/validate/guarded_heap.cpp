#include "host/validate/guarded_heap.h"

#include "host/validate/guard_pages.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <span>

namespace talvora::host {

namespace {

constexpr std::size_t RANGE_SIZE = GuardedHeap::ADDRESS_COUNT;
// Each block is a mapping of its own, and a process may have 65,530 of them.
constexpr std::size_t MAX_BLOCKS = 20'000;
constexpr std::size_t MAX_PROBLEMS = 10;
constexpr unsigned char GUARD_BYTE = 0xA5;

struct Block {
    unsigned char* pages; // the open ones, closed pages on both sides
    std::size_t page_bytes;
    unsigned char* begin;
    std::size_t size;
    BlockOwner owner;
    const char* origin; // null when it is made for no slot
    bool is_freed;
};

struct Problem {
    const char* what;
    std::size_t size;
    BlockOwner owner;
    const char* origin;
};

// Everything has its place beforehand: the heap is asked from within malloc.
struct State {
    unsigned char* range = nullptr;
    std::size_t used = 0;
    GuardedEnd end = GuardedEnd::Back;
    unsigned char fill = 0;
    std::array<Block, MAX_BLOCKS> blocks;
    std::size_t block_count = 0;
    std::array<Problem, MAX_PROBLEMS> problems;
    std::size_t problem_count = 0;
};
State state;

std::size_t round_up(std::size_t size, std::size_t unit) {
    return (size + unit - 1) / unit * unit;
}

const char* name_of(BlockOwner owner) {
    switch (owner) {
    case BlockOwner::Record:
        return "a host record's buffer";
    case BlockOwner::Plugin:
        return "a block of the plug-in's own";
    case BlockOwner::Table:
        return "a host table";
    }
    return "";
}

void note(const char* what, const Block& block) {
    if (state.problem_count < MAX_PROBLEMS) {
        state.problems[state.problem_count++] = {what, block.size, block.owner, block.origin};
    }
}

// The last block whose pages begin at or before the address; blocks lie in order.
Block* find_near(const void* address) {
    const auto* byte = static_cast<const unsigned char*>(address);
    const auto blocks = std::span(state.blocks).first(state.block_count);
    const auto after = std::ranges::upper_bound(blocks, byte, {}, &Block::pages);
    return after == blocks.begin() ? nullptr : &*(after - 1);
}

std::span<unsigned char> before(const Block& block) {
    return {block.pages, block.begin};
}

std::span<unsigned char> behind(const Block& block) {
    return {block.begin + block.size, block.pages + block.page_bytes};
}

bool is_whole(std::span<const unsigned char> guard) {
    return std::ranges::all_of(guard, [](unsigned char byte) { return byte == GUARD_BYTE; });
}

void check_guards(const Block& block) {
    if (!is_whole(before(block))) {
        note("was written before its beginning", block);
    }
    if (!is_whole(behind(block))) {
        note("was written past its end", block);
    }
}

void forbid(Block& block) {
    block.is_freed = true;
    close_pages(block.pages, block.page_bytes);
}

Block* place_block(std::size_t size, BlockOwner owner, std::size_t alignment, const char* origin) {
    const std::size_t page = page_size();
    const std::size_t page_bytes = round_up(std::max<std::size_t>(size, 1), page);
    if (state.block_count == MAX_BLOCKS || page_bytes + page > RANGE_SIZE - state.used) {
        return nullptr;
    }
    unsigned char* pages = state.range + state.used;
    const std::size_t offset =
        state.end == GuardedEnd::Front ? 0 : (page_bytes - size) / alignment * alignment;
    Block& block = state.blocks[state.block_count];
    block = {pages, page_bytes, pages + offset, size, owner, origin, false};
    return open_pages(pages, page_bytes) ? &block : nullptr;
}

const char* place_of(const Block& block, const unsigned char* address) {
    if (address >= block.begin + block.size) {
        return "past the end of ";
    }
    if (address < block.begin) {
        return "before the beginning of ";
    }
    if (!block.is_freed) {
        return "in ";
    }
    return block.owner == BlockOwner::Table ? "in, after the call it was for, "
                                            : "in, after it was freed, ";
}

std::string describe(const Problem& problem) {
    const std::string origin =
        problem.origin == nullptr ? "" : std::string(" of ") + problem.origin;
    return name_of(problem.owner) + (" (" + std::to_string(problem.size)) + " bytes" + origin +
           ") " + problem.what;
}

void count_unfreed(const Block& block, HeapSettlement& settlement) {
    const bool is_record = block.owner == BlockOwner::Record;
    ++(is_record ? settlement.unfreed_records : settlement.held_blocks);
    (is_record ? settlement.unfreed_record_bytes : settlement.held_bytes) += block.size;
    if (is_record && block.origin != nullptr) {
        settlement.unfreed_origins.insert(block.origin);
    }
}

// Blocks that the plug-in still holds keep their memory: it may have a use for them.
void drop_blocks(bool some_are_held) {
    const auto blocks = std::span(state.blocks).first(state.block_count);
    if (blocks.empty()) {
        return;
    }
    if (!some_are_held) {
        return drop_pages(blocks.front().pages,
                          static_cast<std::size_t>(blocks.back().pages + blocks.back().page_bytes -
                                                   blocks.front().pages));
    }
    for (const Block& block : blocks) {
        if (block.is_freed || block.owner != BlockOwner::Plugin) {
            drop_pages(block.pages, block.page_bytes);
        }
    }
}

// How far an address is behind a block's end, and ahead of a block's beginning.
std::size_t distance_behind(const Block& block, const unsigned char* address) {
    return static_cast<std::size_t>(address - (block.begin + block.size));
}
std::size_t distance_ahead(const Block& block, const unsigned char* address) {
    return static_cast<std::size_t>(block.begin - address);
}

// The block that an address stands in; in a closed page, the one that is nearer.
const Block* find_meant(const unsigned char* address) {
    const auto blocks = std::span(state.blocks).first(state.block_count);
    const auto next = std::ranges::upper_bound(blocks, address, {}, &Block::pages);
    const Block* before_it = next == blocks.begin() ? nullptr : &*(next - 1);
    if (before_it != nullptr && address < before_it->pages + before_it->page_bytes) {
        return before_it;
    }
    const std::size_t behind =
        before_it == nullptr ? RANGE_SIZE : distance_behind(*before_it, address);
    const std::size_t ahead = next == blocks.end() ? RANGE_SIZE : distance_ahead(*next, address);
    if (std::min(behind, ahead) > page_size()) {
        return nullptr;
    }
    return ahead < behind ? &*next : before_it;
}

} // namespace

void GuardedHeap::open(GuardedEnd end, unsigned char fill) {
    state.end = end;
    state.fill = fill;
    if (state.range == nullptr) {
        state.range = reserve_pages(RANGE_SIZE);
    }
    if (state.range == nullptr) {
        throw std::bad_alloc();
    }
    // The first page stays closed, as the one before the first block.
    state.used = std::max(state.used, page_size());
}

void* GuardedHeap::allocate(std::size_t byte_count, BlockOwner owner, std::size_t alignment,
                            const char* origin) {
    if (state.range == nullptr || alignment > page_size() || byte_count > RANGE_SIZE) {
        return nullptr;
    }
    const Block* block = place_block(byte_count, owner, alignment, origin);
    if (block == nullptr) {
        return nullptr;
    }
    ++state.block_count;
    state.used += block->page_bytes + page_size();
    std::ranges::fill(before(*block), GUARD_BYTE);
    std::ranges::fill(behind(*block), GUARD_BYTE);
    std::memset(block->begin, state.fill, byte_count);
    return block->begin;
}

bool GuardedHeap::contains(const void* address) {
    const auto* byte = static_cast<const unsigned char*>(address);
    return state.range != nullptr && byte >= state.range && byte < state.range + RANGE_SIZE;
}

void GuardedHeap::release(void* address) {
    Block* block = find_near(address);
    if (block == nullptr || block->owner == BlockOwner::Table) {
        return;
    }
    if (block->begin != address) {
        note("was freed by an address that is not its beginning", *block);
    } else if (block->is_freed) {
        note("was freed twice", *block);
    } else {
        check_guards(*block);
        forbid(*block);
    }
}

std::size_t GuardedHeap::size_of(const void* address) {
    const Block* block = find_near(address);
    return block == nullptr ? 0 : block->size;
}

void GuardedHeap::retire(void* address) {
    if (Block* block = find_near(address)) {
        forbid(*block);
    }
}

HeapSettlement GuardedHeap::settle() {
    HeapSettlement settlement;
    for (const Block& block : std::span(state.blocks).first(state.block_count)) {
        if (block.is_freed) {
            continue;
        }
        check_guards(block);
        if (block.owner != BlockOwner::Table) {
            count_unfreed(block, settlement);
        }
    }
    for (const Problem& problem : std::span(state.problems).first(state.problem_count)) {
        (problem.owner == BlockOwner::Record ? settlement.record_problems
                                             : settlement.block_problems)
            .push_back(describe(problem));
    }
    drop_blocks(settlement.held_blocks > 0);
    state.block_count = 0;
    state.problem_count = 0;
    return settlement;
}

const char* GuardedHeap::explain(const void* address, bool is_write) {
    static std::array<char, 200> text;
    if (!contains(address)) {
        return "";
    }
    const auto* byte = static_cast<const unsigned char*>(address);
    const Block* block = find_meant(byte);
    if (block == nullptr) {
        return "touched memory that was good for an earlier call alone";
    }
    const bool has_origin = block->origin != nullptr;
    std::snprintf(text.data(), text.size(), "%s %s%s (%zu bytes%s%s)", is_write ? "wrote" : "read",
                  place_of(*block, byte), name_of(block->owner), block->size,
                  has_origin ? " of " : "", has_origin ? block->origin : "");
    return text.data();
}

} // namespace talvora::host

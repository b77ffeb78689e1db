#include "tests/support/tracked_heap.h"

#include "tests/support/heap_watch.h"
#include "tests/support/plugin_memory.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

namespace talvora::test_support {

namespace {

constexpr unsigned char FRESH_BYTE = 0xCD;
[[maybe_unused]] constexpr unsigned char FREED_BYTE = 0xDD;
[[maybe_unused]] constexpr unsigned char GUARD_BYTE = 0xA5;
[[maybe_unused]] constexpr std::size_t GUARD_SIZE = 64;

struct Block {
    unsigned char* bytes;
    std::size_t size;
    std::string what;
    int free_count;
};

struct Blocks {
    std::vector<Block> all;
    std::map<const void*, std::size_t> index_by_address;
    std::vector<std::string> problems;
};

// Never destroyed: memory is freed until the very end of the process.
Blocks& tracked() {
    static Blocks* blocks = new Blocks;
    return *blocks;
}

// The block at this address that has not been freed yet or, where addresses are
// not used again, the one that has.
Block* find_block(const void* address) {
    const auto found = tracked().index_by_address.find(address);
    return found == tracked().index_by_address.end() ? nullptr : &tracked().all[found->second];
}

std::string describe(const Block& block) {
    return block.what + " (" + std::to_string(block.size) + " bytes)";
}

[[maybe_unused]] bool all_bytes_are(const unsigned char* bytes, std::size_t count,
                                    unsigned char value) {
    return std::all_of(bytes, bytes + count, [value](unsigned char b) { return b == value; });
}

#if TALVORA_SANITIZER_HEAP

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*malloc_hook)(const volatile void*,
                                                                             std::size_t),
                                                         void (*free_hook)(const volatile void*));

// Sanitizers and fuzzers start threads of their own.
const std::thread::id WATCHED_THREAD = std::this_thread::get_id();

bool is_watched() {
    return is_in_plugin() && std::this_thread::get_id() == WATCHED_THREAD;
}

void note_malloc(const volatile void*, std::size_t) {
    if (is_watched()) {
        note_plugin_allocation();
    }
}

// Only what the plug-in frees: the map of blocks itself is freed piecemeal, too.
void note_free(const volatile void* address) {
    if (!is_watched() || address == nullptr) {
        return;
    }
    Block* block = find_block(const_cast<const void*>(address));
    if (block != nullptr && block->free_count == 0) {
        ++block->free_count;
    } else {
        note_plugin_free();
    }
}

// From the start, because the plug-in may run before any block is handed out.
const int HOOKS_INSTALLED = __sanitizer_install_malloc_and_free_hooks(note_malloc, note_free);

unsigned char* take_bytes(std::size_t byte_count) {
    if (HOOKS_INSTALLED == 0) {
        throw std::runtime_error("the sanitizer took no allocation hooks");
    }
    return static_cast<unsigned char*>(std::malloc(std::max<std::size_t>(byte_count, 1)));
}

void inspect(const Block&) {}

void give_back(const Block& block) {
    if (block.free_count == 0) {
        std::free(block.bytes);
    }
}

void start_over() {}

#else

constexpr std::size_t ARENA_SIZE = std::size_t{1} << 30;

// Tracked blocks live in an address range of their own and addresses are not used
// twice during a test: any pointer can be told to be a tracked block by its value,
// and a freed block keeps showing what is written to it.
struct Arena {
    unsigned char* begin;
    std::size_t used;
};
Arena arena{};

unsigned char* take_bytes(std::size_t byte_count) {
    if (arena.begin == nullptr) {
        arena.begin = static_cast<unsigned char*>(reserve_address_range(ARENA_SIZE));
    }
    const std::size_t rounded = (byte_count + 15) / 16 * 16;
    if (arena.used + rounded + 2 * GUARD_SIZE > ARENA_SIZE) {
        throw std::runtime_error("too many tracked blocks");
    }
    unsigned char* bytes = arena.begin + arena.used + GUARD_SIZE;
    arena.used += rounded + 2 * GUARD_SIZE;
    std::memset(bytes - GUARD_SIZE, GUARD_BYTE, rounded + 2 * GUARD_SIZE);
    return bytes;
}

bool guards_are_whole(const Block& block) {
    return all_bytes_are(block.bytes - GUARD_SIZE, GUARD_SIZE, GUARD_BYTE) &&
           all_bytes_are(block.bytes + block.size, GUARD_SIZE, GUARD_BYTE);
}

void inspect(const Block& block) {
    if (!guards_are_whole(block)) {
        tracked().problems.push_back(describe(block) + " was written outside its bounds");
    }
    if (block.free_count > 0 && !all_bytes_are(block.bytes, block.size, FREED_BYTE)) {
        tracked().problems.push_back(describe(block) + " was written after it was freed");
    }
}

void give_back(const Block&) {}

void start_over() {
    arena.used = 0;
}

#endif

void settle(const Block& block) {
    if (block.free_count == 0) {
        tracked().problems.push_back(describe(block) + " was never freed");
    }
    if (block.free_count > 1) {
        tracked().problems.push_back(describe(block) + " was freed " +
                                     std::to_string(block.free_count) + " times");
    }
    inspect(block);
    give_back(block);
}

} // namespace

void* allocate_tracked(std::size_t byte_count, const std::string& what) {
    const HostSection host;
    unsigned char* bytes = take_bytes(byte_count);
    std::memset(bytes, FRESH_BYTE, byte_count);
    Blocks& blocks = tracked();
    blocks.all.push_back({bytes, byte_count, what, 0});
    blocks.index_by_address.insert_or_assign(bytes, blocks.all.size() - 1);
    return bytes;
}

std::vector<std::string> settle_tracked_blocks() {
    Blocks& blocks = tracked();
    for (const Block& block : std::vector<Block>(blocks.all)) {
        settle(block);
    }
    blocks.all.clear();
    blocks.index_by_address.clear();
    start_over();
    return std::exchange(blocks.problems, {});
}

bool can_refuse_allocations() {
    return TALVORA_SANITIZER_HEAP == 0;
}

#if !TALVORA_SANITIZER_HEAP

bool refuse_allocation() {
    const bool is_refused = note_plugin_allocation();
    if (is_refused) {
        errno = ENOMEM;
    }
    return is_refused;
}

bool free_tracked(void* address) {
    const auto* byte = static_cast<const unsigned char*>(address);
    if (arena.begin == nullptr || byte < arena.begin || byte >= arena.begin + ARENA_SIZE) {
        return false;
    }
    const HostSection host;
    Block* block = find_block(address);
    if (block == nullptr) {
        tracked().problems.push_back("an address inside a tracked block was freed");
    } else if (++block->free_count == 1) {
        std::memset(block->bytes, FREED_BYTE, block->size);
    }
    return true;
}

#endif

} // namespace talvora::test_support

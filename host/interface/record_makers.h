// Makes the records in which a host returns texts, lists and shapes. Every buffer comes
// from malloc and becomes the receiver's with the record. Throws std::bad_alloc, and
// leaves nothing behind then.
#pragma once

#include "plugin/host_interfaces.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace talvora::host {

// Where the buffers come from: malloc and free, unless someone watches what becomes of
// them. `release` takes back what a receiver never got.
struct RecordHeap {
    void* (*allocate)(std::size_t byte_count);
    void (*release)(void* block);
    // Whether records have everything that they may have: a block in `aux`, and any number
    // where none may be relied on.
    bool is_untidy = false;
};
void set_record_heap(const RecordHeap& heap);

// Without a value. Records of zeros, unless the heap is untidy.
host_list make_absent_list();
host_string make_absent_string();

// A present list has items even when it is empty.
host_list make_text_list(std::span<const std::string> texts);
host_list make_integer_list(std::span<const std::int64_t> integers);
// Word 0 counts the terminating zero, but is 0 for the empty text.
host_string make_string(std::string_view text);
host_shape make_shape(std::span<const std::uint64_t> extents);

} // namespace talvora::host

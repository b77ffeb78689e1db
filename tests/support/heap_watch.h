// How the tracked heap comes to see what is allocated and freed. On Linux the test program
// defines malloc, free and their relatives, which every library of the process then uses.
// On Windows a module names the library that each of its imports comes from, so the
// imports of the test program and of the plug-in are pointed here instead.
#pragma once

#include <cstddef>

#if defined(TALVORA_ADDRESS_SANITIZER)
#define TALVORA_SANITIZER_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TALVORA_SANITIZER_HEAP 1
#endif
#endif
#ifndef TALVORA_SANITIZER_HEAP
#define TALVORA_SANITIZER_HEAP 0
#endif

namespace talvora::test_support {

// From now on what this loaded library does to the heap is seen. Its handle is the
// system's.
void watch_heap_of(void* library);

// Zeroed memory that is not taken before it is touched. The test program's own use of the
// heap is watched from here on. Throws std::runtime_error.
void* reserve_address_range(std::size_t byte_count);

// What the watched functions ask before they turn to the system's heap: whether a test
// wants to see this allocation refused, with errno set;
bool refuse_allocation();
// whether the address was a tracked block, whose release is thereby noted.
bool free_tracked(void* address);

} // namespace talvora::test_support

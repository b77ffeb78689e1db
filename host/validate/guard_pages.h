// Address ranges whose pages can be opened and closed: touching a closed one ends the
// program, or calls the handler of note_page_faults first.
#pragma once

#include <cstddef>

namespace talvora::host {

std::size_t page_size();

// A range of closed pages that no memory stands behind; null when there is no room.
unsigned char* reserve_pages(std::size_t byte_count);
// The same at a place of the caller's, unless something is there already; not on Windows.
bool reserve_pages_at(unsigned char* begin, std::size_t byte_count);
// Gives reserved addresses back; not on Windows.
void release_pages(unsigned char* begin, std::size_t byte_count);

// Ranges of whole pages inside a reserved range. Opened pages are zero the first time
// and keep their contents while they are closed.
bool open_pages(unsigned char* begin, std::size_t byte_count);
void close_pages(unsigned char* begin, std::size_t byte_count);
// Closes the pages and gives their memory back.
void drop_pages(unsigned char* begin, std::size_t byte_count);

// Calls the handler when this process touches memory that it must not, and lets the
// program end of it afterwards. The handler may do little: it must not allocate.
using PageFaultHandler = void (*)(const void* address, bool is_write);
void note_page_faults(PageFaultHandler handler);
// Has the handler run on a stack of its own on this thread, the only one at work; not on Windows.
void take_fault_stack();

} // namespace talvora::host

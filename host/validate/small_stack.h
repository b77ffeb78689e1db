// Work on a thread that has little stack, as hosts give it to the threads of their own.
#pragma once

#include <cstddef>
#include <functional>

namespace talvora::host {

// Whether this platform can.
bool has_small_stack();

// Does the work on such a thread, and waits for its end. Throws what the work throws, and
// std::system_error when there can be no such thread.
void run_on_small_stack(const std::function<void()>& work);

// One line when the address stands beyond the stack's end; empty when it does not. Allocates
// nothing.
const char* explain_small_stack(const void* address);

} // namespace talvora::host

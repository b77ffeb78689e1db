// What the validator asks of the processor, which each answers in its own way.
#pragma once

#include "host/validate/process_state.h"

namespace talvora::host {

// The registers that say how floating-point numbers are computed, without what has happened.
Settings read_control_registers();

#if !defined(_WIN32)
// Whether the access that a signal handler is told of was to write; `context` is its third
// argument. Where the system does not tell it is taken to have been one.
bool is_write(const void* context);

// Whether a relocation of the type puts the address of a symbol where it stands.
bool holds_an_address(unsigned long relocation_type);
#endif

} // namespace talvora::host

// Where exceptions end: every function of the library that can fail runs its work in here.
#pragma once

#include "host/system/thread_end.h"
#include "library/talvora/talvora.h"

#include <cstddef>
#include <stdexcept>
#include <string>

namespace talvora::library {

// Thrown by the library's own sources: a status and the sentence of it.
class CallError : public std::runtime_error {
  public:
    CallError(talvora_status status, const std::string& text)
        : std::runtime_error(text), status_(status) {}

    talvora_status status() const { return status_; }

  private:
    talvora_status status_;
};

class InvalidArgument : public CallError {
  public:
    explicit InvalidArgument(const std::string& text) : CallError(TALVORA_INVALID_ARGUMENT, text) {}
};

// The status of the exception that is being handled, whose sentence goes into the buffer.
talvora_status explain_exception(char* error, std::size_t error_size) noexcept;

// Does `work()`; what it throws becomes the status and the sentence of the call. A thread that a
// function of the caller's ends goes through.
template <class Work>
talvora_status guard_call(char* error, std::size_t error_size, Work&& work) {
    try {
        work();
        return TALVORA_OK;
    } catch (const host::ThreadEnd&) {
        throw;
    } catch (...) {
        return explain_exception(error, error_size);
    }
}

} // namespace talvora::library

// What callers hand over, checked before it is used, and what they are told.
#pragma once

#include "library/talvora/talvora.h"

#include <string>
#include <string_view>

namespace talvora::library {

// Refuses NULL; `name` says what is missing.
void check_pointer(const void* pointer, std::string_view name);

// A text of the caller's; NULL and what is no UTF-8 are refused.
std::string read_text(const char* text, std::string_view name);

// Hands sentences to the caller's function, where there is one.
class Teller {
  public:
    Teller(talvora_tell function, void* context) : tell_(function), context_(context) {}

    // Bytes that are no UTF-8, which names in files and texts of plug-ins may hold, as \xHH.
    void tell(int32_t level, std::string_view text) const;

  private:
    talvora_tell tell_;
    void* context_;
};

} // namespace talvora::library

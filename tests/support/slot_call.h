// What every slot of a recording host does: step out of the plug-in, write the call
// down, look at what it was given, fill records.
#pragma once

#include "tests/support/host_state.h"
#include "tests/support/plugin_memory.h"

#include <cstdint>
#include <string>

namespace talvora::test_support {

using Handle = std::uint64_t;
using Words = std::uint64_t; // the first of an out-record's four

// The host at work on one call of a slot: what it allocates is its own.
struct Call {
    HostSection section;
    HostState& host = HostState::active();

    Call();

    template <typename... Parts>
    void record(const std::string& slot, const Parts&... parts) {
        std::string line = slot;
        ((line += " " + parts), ...);
        host.calls.push_back(line);
    }

    void check_context(const void* ctx);
    std::string text(const char* given);                            // null is a violation
    std::string path_below(Handle parent, const std::string& path); // below a valid group
    float float_of(const Attributes& attributes, const std::string& name) const;
};

// Only the lowest eight bits of a flag count; the others are noise, and any value
// but zero is true.
std::uint64_t flag(bool value);

// Records whose buffers the plug-in has to free; `what` names them in complaints.
void fill_absent_list(Words* out, const std::string& what);
void fill_text(Words* out, const std::string* text, const std::string& what); // null: absent
void fill_texts(Words* out, const Texts& texts, const std::string& what);
void fill_integers(Words* out, const Integers& integers, const std::string& what);
void fill_shape(Words* out, const std::vector<std::uint64_t>& extents, const std::string& what);

// Attributes as other types than they were written with; 0 when absent.
std::int64_t integer_of(const Attributes& attributes, const std::string& name);

std::string number_text(double value);
std::string extents_text(const std::vector<std::uint64_t>& extents);

} // namespace talvora::test_support

// The guards of the host, by name.
#include "host/guards/guards.h"
#include "library/talvora/talvora.h"

#include <string>
#include <string_view>
#include <vector>

const char* talvora_guard_name(size_t index) {
    try {
        static const std::vector<std::string> NAMES = talvora::host::list_guards();
        return index < NAMES.size() ? NAMES[index].c_str() : nullptr;
    } catch (...) { // no memory for the names
        return nullptr;
    }
}

// The sentences are literals, which NUL ends.
const char* talvora_guard_description(const char* name) {
    const std::string_view sentence =
        name == nullptr ? std::string_view() : talvora::host::describe_guard(name);
    return sentence.empty() ? nullptr : sentence.data();
}

#include "plugin/host_records.h"

#include <cstdlib>

namespace talvora {

namespace {

// The heap functions are named in full: these buffers come from the host's malloc.
void release_buffers(void* aux, void* items) noexcept {
    std::free(aux);
    std::free(items);
}

} // namespace

void release_text_list(host_list& record) noexcept {
    auto* const texts = static_cast<char**>(record.items);
    for (std::uint64_t i = 0; texts != nullptr && i < record.count; ++i) {
        std::free(texts[i]);
    }
    release_buffers(record.aux, record.items);
    record = {};
}

void release_integer_list(host_list& record) noexcept {
    release_buffers(record.aux, record.items);
    record = {};
}

void release_text(host_string& record) noexcept {
    release_buffers(record.aux, record.text);
    record = {};
}

void release_shape(host_shape& record) noexcept {
    release_buffers(record.aux, record.dims);
    record = {};
}

const char* OwnedTextList::operator[](std::size_t index) const noexcept {
    const char* const text = static_cast<char* const*>(record_.items)[index];
    return text != nullptr ? text : "";
}

std::span<const std::int64_t> OwnedIntegerList::values() const noexcept {
    if (record_.items == nullptr) {
        return {};
    }
    return {static_cast<const std::int64_t*>(record_.items), record_.count};
}

} // namespace talvora

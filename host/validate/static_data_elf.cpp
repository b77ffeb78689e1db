#include "host/validate/guard_pages.h"
#include "host/validate/loaded_libraries.h"
#include "host/validate/static_data.h"

#include <algorithm>
#include <cstdint>
#include <link.h>
#include <span>

namespace talvora::host {

namespace {

constexpr std::size_t CLOSED_SIZE = std::size_t{1} << 20;

// Those that make_place_below_closed_pages closed last.
std::span<unsigned char> closed_above;

struct GuardedData {
    unsigned char* end;
    std::vector<unsigned char> behind; // up to the next page
    std::size_t closed_bytes;          // from there on
};
std::vector<GuardedData> guarded;

unsigned char* closed_pages_of(const GuardedData& data) {
    return data.end + data.behind.size();
}

// The format gives addresses as integers. Null for a library without static data.
unsigned char* find_end(const dl_phdr_info& library) {
    std::uintptr_t end = 0;
    for (const Elf64_Phdr& header : std::span(library.dlpi_phdr, library.dlpi_phnum)) {
        if (header.p_type == PT_LOAD && (header.p_flags & PF_W) != 0) {
            end = std::max(end, library.dlpi_addr + header.p_vaddr + header.p_memsz);
        }
    }
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<unsigned char*>(end);
}

// As many as are free, for what is behind may be another library's.
std::size_t close_pages_at(unsigned char* begin) {
    if (begin == closed_above.data()) {
        return closed_above.size();
    }
    for (std::size_t byte_count = CLOSED_SIZE; byte_count >= page_size(); byte_count /= 2) {
        if (reserve_pages_at(begin, byte_count)) {
            return byte_count;
        }
    }
    return 0;
}

void guard(const dl_phdr_info& library) {
    unsigned char* end = find_end(library);
    if (end == nullptr) {
        return;
    }
    const auto place = reinterpret_cast<std::uintptr_t>(end);
    unsigned char* page = end + (page_size() - place % page_size()) % page_size();
    guarded.push_back({end, {end, page}, close_pages_at(page)});
}

} // namespace

// Page by page, so that what is too small for the library alone is left in between.
void make_place_below_closed_pages() {
    constexpr int MOST_PAGES = 100'000;
    unsigned char* begin = nullptr;
    std::size_t byte_count = 0;
    for (int i = 0; i < MOST_PAGES && byte_count < CLOSED_SIZE; ++i) {
        unsigned char* page = reserve_pages(page_size());
        if (page == nullptr) {
            return;
        }
        byte_count = page + page_size() == begin ? byte_count + page_size() : page_size();
        begin = page;
    }
    closed_above = {begin, byte_count};
}

void guard_static_data(const std::function<bool(std::string_view file)>& is_meant) {
    for (const GuardedData& data : guarded) {
        release_pages(closed_pages_of(data), data.closed_bytes);
    }
    guarded.clear();
    visit_libraries([&](const dl_phdr_info& library) {
        if (is_meant(library.dlpi_name)) {
            guard(library);
        }
    });
}

std::vector<std::string> take_overruns_of_static_data() {
    std::vector<std::string> overruns;
    for (GuardedData& data : guarded) {
        const std::span now(data.end, data.behind.size());
        if (!std::ranges::equal(now, data.behind)) {
            overruns.emplace_back("the static data of the library was written past its end");
            data.behind.assign(now.begin(), now.end());
        }
    }
    return overruns;
}

const char* explain_static_data(const void* address, bool is_write) {
    const auto* byte = static_cast<const unsigned char*>(address);
    for (const GuardedData& data : guarded) {
        // Where the page behind could not be closed it may be another library's, that none may
        // write.
        const std::size_t byte_count = std::max(data.closed_bytes, page_size());
        if (byte >= closed_pages_of(data) && byte < closed_pages_of(data) + byte_count) {
            return is_write ? "wrote past the end of the static data of the library"
                            : "read past the end of the static data of the library";
        }
    }
    return "";
}

} // namespace talvora::host

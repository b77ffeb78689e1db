// The libraries in this process, as the loader of ELF files tells of them.
#pragma once

#include <cstddef>
#include <link.h>

namespace talvora::host {

// visit(library), for each.
template <typename Visit>
void visit_libraries(Visit visit) {
    const auto call = [](dl_phdr_info* info, std::size_t, void* user) {
        (*static_cast<Visit*>(user))(*info);
        return 0;
    };
    dl_iterate_phdr(call, &visit);
}

} // namespace talvora::host

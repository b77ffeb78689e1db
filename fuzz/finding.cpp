#include "fuzz/finding.h"

#include <cstdio>
#include <cstdlib>

namespace talvora::fuzz {

void report_finding(std::string_view sentence) {
    std::fprintf(stderr, "finding: %.*s\n", static_cast<int>(sentence.size()), sentence.data());
    std::abort();
}

} // namespace talvora::fuzz

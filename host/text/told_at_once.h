// How many messages of one kind are told one by one.
#pragma once

#include <cstddef>

namespace talvora::host {

// What is more is counted in one sentence; `--verbose` shows all.
constexpr std::size_t MAX_TOLD_AT_ONCE = 12;

} // namespace talvora::host

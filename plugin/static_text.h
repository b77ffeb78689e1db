// Texts of static lifetime behind functions without arguments, as descriptors carry them.
#pragma once

#include <algorithm>
#include <cstddef>

namespace talvora {

// A text that can be a template argument.
template <std::size_t SIZE>
struct StaticText {
    // cppcheck-suppress noExplicitConstructor; a literal becomes one as a template argument
    constexpr StaticText(const char (&text)[SIZE]) { std::copy_n(text, SIZE, characters); }
    char characters[SIZE]{};
};

// One getter exists per distinct text: every descriptor with that text shares it.
template <StaticText TEXT>
const char* get_text() {
    return TEXT.characters;
}

} // namespace talvora

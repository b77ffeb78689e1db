#include "host/text/nearest_text.h"

#include "host/text/ascii.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace talvora::host {

namespace {

// One row of the table of distances between all beginnings of the two texts at a time.
std::size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row;
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row.push_back(j);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (to_lower(a[i]) == to_lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

// The first known text that holds the word; a shorter word says too little.
std::optional<std::string> find_containing(std::string_view word,
                                           std::span<const std::string> known) {
    constexpr std::size_t MIN_LENGTH = 4;
    const auto same_letter = [](char a, char b) { return to_lower(a) == to_lower(b); };
    const auto holds_word = [&](const std::string& text) {
        return std::search(text.begin(), text.end(), word.begin(), word.end(), same_letter) !=
               text.end();
    };
    const auto found = std::ranges::find_if(known, holds_word);
    return word.size() < MIN_LENGTH || found == known.end() ? std::nullopt : std::optional(*found);
}

} // namespace

std::optional<std::string> find_nearest(std::string_view word, std::span<const std::string> known) {
    std::optional<std::string> nearest;
    std::size_t limit = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (const std::string& candidate : known) {
        const std::size_t distance = edit_distance(word, candidate);
        if (distance < limit && distance < candidate.size()) {
            nearest = candidate;
            limit = distance;
        }
    }
    return nearest ? nearest : find_containing(word, known);
}

std::string suggest_nearest(std::string_view word, std::span<const std::string> known) {
    const auto nearest = find_nearest(word, known);
    return nearest ? "did you mean '" + *nearest + "'?" : "";
}

} // namespace talvora::host

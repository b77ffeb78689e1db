#include "host/text/path_glob.h"

#include "host/text/ascii.h"
#include "host/text/utf8.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <span>

namespace talvora::host {
namespace {

// ---------------------------------------------------------------------------
// Wildcards

// Whether the pattern's items stand for the whole text, item by item, where an item with
// `any_number` stands for any number of the text's. Of several such items only the last
// one met has ever to be tried again: what the earlier ones took is as good as any other
// choice.
template <typename Item, typename Element, typename Matches>
bool matches_items(std::span<const Item> pattern, std::span<const Element> text, Matches matches) {
    std::size_t p = 0;
    std::size_t t = 0;
    std::optional<std::size_t> retry_pattern;
    std::size_t retry_text = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p].any_number) {
            retry_pattern = ++p;
            retry_text = t;
        } else if (p < pattern.size() && matches(pattern[p], text[t])) {
            ++p;
            ++t;
        } else if (retry_pattern) {
            p = *retry_pattern;
            t = ++retry_text;
        } else {
            return false;
        }
    }
    return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(p), pattern.end(),
                       [](const Item& item) { return item.any_number; });
}

// ---------------------------------------------------------------------------
// One name

struct LetterRange {
    char32_t first = 0;
    char32_t last = 0;
};

// What one place of a pattern stands for.
struct LetterItem {
    bool any_number = false;         // *
    bool others = false;             // all letters but those of the ranges
    std::vector<LetterRange> ranges; // a single letter is a range of itself

    bool holds(char32_t letter) const {
        const bool listed = std::ranges::any_of(ranges, [&](const LetterRange& range) {
            return range.first <= letter && letter <= range.last;
        });
        return listed != others;
    }
};

// The place of the `]` that ends the class opened in front of `start`; one at its very
// beginning is a letter of it.
std::optional<std::size_t> find_class_end(std::u32string_view pattern, std::size_t start) {
    if (start < pattern.size() && pattern[start] == U'!') {
        ++start;
    }
    const std::size_t end = pattern.find(U']', start + 1);
    return end == std::u32string_view::npos ? std::nullopt : std::optional(end);
}

LetterItem read_class(std::u32string_view letters) {
    LetterItem item;
    item.others = letters.front() == U'!';
    letters.remove_prefix(item.others ? 1 : 0);
    while (!letters.empty()) {
        const bool is_range = letters.size() > 2 && letters[1] == U'-';
        item.ranges.push_back({letters[0], letters[is_range ? 2 : 0]});
        letters.remove_prefix(is_range ? 3 : 1);
    }
    return item;
}

std::vector<LetterItem> read_name_pattern(std::u32string_view pattern) {
    std::vector<LetterItem> items;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const auto class_end = pattern[i] == U'[' ? find_class_end(pattern, i + 1) : std::nullopt;
        if (class_end) {
            items.push_back(read_class(pattern.substr(i + 1, *class_end - i - 1)));
            i = *class_end;
        } else if (pattern[i] == U'*' || pattern[i] == U'?') {
            items.push_back({.any_number = pattern[i] == U'*', .others = true, .ranges = {}});
        } else {
            items.push_back({.ranges = {{pattern[i], pattern[i]}}});
        }
    }
    return items;
}

bool matches_name(std::string_view pattern, std::string_view name) {
    const std::vector<LetterItem> items = read_name_pattern(decode_utf8(pattern));
    const std::u32string letters = decode_utf8(name);
    return matches_items(
        std::span(items), std::span<const char32_t>(letters),
        [](const LetterItem& item, char32_t letter) { return item.holds(letter); });
}

// ---------------------------------------------------------------------------
// Natural order

// Takes off the text what is compared at once: the digits that it begins with, or one byte.
std::string_view take_part(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && is_digit(text[length])) {
        ++length;
    }
    const std::string_view part = text.substr(0, std::max<std::size_t>(length, 1));
    text.remove_prefix(part.size());
    return part;
}

std::string_view without_zeros_in_front(std::string_view digits) {
    while (digits.starts_with('0')) {
        digits.remove_prefix(1);
    }
    return digits;
}

// Numbers of any length, by their digits; zeros in front decide last.
int compare_parts(std::string_view a, std::string_view b) {
    if (!is_digit(a.front()) || !is_digit(b.front())) {
        return a.compare(b);
    }
    const std::string_view x = without_zeros_in_front(a);
    const std::string_view y = without_zeros_in_front(b);
    if (x.size() != y.size()) {
        return x.size() < y.size() ? -1 : 1;
    }
    return x.compare(y);
}

bool precedes_naturally(std::string_view a, std::string_view b) {
    const std::string_view whole_a = a;
    const std::string_view whole_b = b;
    while (!a.empty() && !b.empty()) {
        const std::string_view part_a = take_part(a);
        const std::string_view part_b = take_part(b);
        if (const int order = compare_parts(part_a, part_b); order != 0) {
            return order < 0;
        }
    }
    return a.empty() && b.empty() ? whole_a < whole_b : a.empty();
}

} // namespace

bool matches_path(std::string_view pattern, std::string_view path) {
    struct NameItem {
        bool any_number;
        std::string name;
    };
    std::vector<NameItem> items;
    for (std::string& name : split_names(pattern)) {
        const bool any_number = name == "**";
        items.push_back({any_number, std::move(name)});
    }
    const std::vector<std::string> names = split_names(path);
    return matches_items(std::span<const NameItem>(items), std::span<const std::string>(names),
                         [](const NameItem& item, const std::string& name) {
                             return matches_name(item.name, name);
                         });
}

bool is_pattern(std::string_view text) {
    return text.find_first_of("*?[") != std::string_view::npos;
}

void sort_naturally(std::vector<std::string>& texts) {
    std::ranges::sort(texts, precedes_naturally);
}

std::vector<std::string> split_names(std::string_view path) {
    std::vector<std::string> names;
    while (!path.empty()) {
        const std::size_t end = path.find('/');
        if (end != 0) {
            names.emplace_back(path.substr(0, end));
        }
        path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
    }
    return names;
}

} // namespace talvora::host

#include "host/guards/accepted_guards.h"

#include "host/guards/guards.h"
#include "host/text/failure.h"
#include "host/text/join_texts.h"
#include "host/text/nearest_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace talvora::host {
namespace {

void check_name(const std::string& name, std::span<const std::string> known) {
    if (std::ranges::find(known, name) == known.end()) {
        const std::string hint = suggest_nearest(name, known);
        throw Failure(ExitCode::Usage,
                      fmt::format("--accept: no guard '{}' (known: {})", name, join_texts(known)),
                      hint.empty() ? std::vector<std::string>() : std::vector{hint});
    }
}

std::vector<std::string> split_at_commas(std::string_view word) {
    std::vector<std::string> names;
    for (std::size_t comma; (comma = word.find(',')) != word.npos;) {
        names.emplace_back(word.substr(0, comma));
        word.remove_prefix(comma + 1);
    }
    names.emplace_back(word);
    return names;
}

void accept(Step& step, const std::string& guard) {
    if (!accepts_guard(step, guard)) {
        step.accept.push_back(guard);
    }
}

} // namespace

Recipe accept_in_all_steps(Recipe recipe, std::span<const std::string> words) {
    const std::vector<std::string> known = list_guards();
    for (const std::string& word : words) {
        for (const std::string& name : split_at_commas(word)) {
            check_name(name, known);
            for (Step& step : recipe.steps) {
                accept(step, name);
            }
        }
    }
    return recipe;
}

} // namespace talvora::host

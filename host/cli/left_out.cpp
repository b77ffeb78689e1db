#include "host/cli/left_out.h"

#include "host/interface/path_patterns.h"
#include "host/text/plural.h"
#include "host/text/told_at_once.h"
#include "host/tree/tree_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <vector>

namespace talvora::host {
namespace {

MessageLevel choose_level(const OtherObject& object) {
    if (is_plainly_no_signal(object)) {
        return MessageLevel::Detail;
    }
    return object.is_single ? MessageLevel::Info : MessageLevel::Warning;
}

std::vector<NamedOther> list_of_level(std::span<const NamedOther> others, MessageLevel level) {
    std::vector<NamedOther> listed;
    std::ranges::copy_if(others, std::back_inserter(listed), [&](const NamedOther& other) {
        return choose_level(other.object) == level;
    });
    return listed;
}

void tell_of_level(const Console& console, std::span<const NamedOther> others, MessageLevel level,
                   const std::string& source) {
    for (std::size_t i = 0; i < others.size(); ++i) {
        console.print(i < MAX_TOLD_AT_ONCE ? level : MessageLevel::Detail,
                      fmt::format("{}: '{}' is left out: {}", source, others[i].path,
                                  others[i].object.description));
    }
    if (others.size() > MAX_TOLD_AT_ONCE) {
        console.print(
            level, fmt::format("{}: {} left out, which --verbose shows", source,
                               count_things(others.size() - MAX_TOLD_AT_ONCE, "further object")));
    }
}

} // namespace

void tell_left_out(const Console& console, DataTree& tree, std::span<const std::string> patterns,
                   const std::string& source) {
    std::vector<NamedOther> others;
    std::set<std::string> known;
    for (const std::string& pattern : patterns) {
        std::ranges::copy_if(
            list_left_out(tree, pattern), std::back_inserter(others),
            [&](const NamedOther& other) { return known.insert(other.path).second; });
    }
    for (const MessageLevel level :
         {MessageLevel::Warning, MessageLevel::Info, MessageLevel::Detail}) {
        tell_of_level(console, list_of_level(others, level), level, source);
    }
}

} // namespace talvora::host

#include "host/text/message_level.h"

#include <algorithm>
#include <iterator>

namespace talvora::host {
namespace {

struct NamedLevel {
    MessageLevel level;
    std::string_view name;
};
constexpr NamedLevel LEVELS[] = {
    {MessageLevel::Error, "error"},   {MessageLevel::Warning, "warning"},
    {MessageLevel::Info, "info"},     {MessageLevel::Hint, "hint"},
    {MessageLevel::Detail, "detail"},
};

} // namespace

std::string_view level_name(MessageLevel level) {
    return std::ranges::find(LEVELS, level, &NamedLevel::level)->name;
}

std::optional<MessageLevel> find_level(std::string_view name) {
    const auto found = std::ranges::find(LEVELS, name, &NamedLevel::name);
    return found == std::end(LEVELS) ? std::nullopt : std::optional(found->level);
}

} // namespace talvora::host

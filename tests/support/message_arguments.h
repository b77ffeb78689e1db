// Reads the arguments of a message slot out of the variable argument list, as the
// template announces them, and renders the whole.
//
// A template carries printf conversions (%s, %i, %lu, %f) or {} placeholders, which
// take unsigned 64-bit integers. Integers travel as 64-bit values.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace talvora::test_support {

using MessageArgument = std::variant<std::string, std::int64_t, std::uint64_t, double>;

// Where a message went: context_api log_error, or one of the three of log_api.
enum class Channel { CONTEXT_ERROR, ERROR, WARNING, INFO };

struct Message {
    Channel channel;
    std::string text_template;
    std::vector<MessageArgument> arguments;

    // The arguments in place, "warning: Set Has NaN ..."
    std::string text() const;
};

// Throws std::runtime_error for a conversion that it does not know and for a text
// argument that is null.
std::vector<MessageArgument> read_arguments(const std::string& text_template, std::va_list list);

} // namespace talvora::test_support

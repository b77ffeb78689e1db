#include "host/interface/messages.h"

#include <fmt/printf.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace talvora::host {

namespace {

constexpr std::string_view FLAGS = "-+ #0";
constexpr std::string_view DIGITS = "0123456789";
constexpr std::string_view LENGTH_MODIFIERS = "hljztqL";
constexpr std::string_view SIGNED_TYPES = "di";
constexpr std::string_view UNSIGNED_TYPES = "uxXop";
constexpr std::string_view REAL_TYPES = "fFeEgGaA";
constexpr std::size_t MAX_DIGITS = 3;

bool contains(std::string_view set, char c) {
    return set.find(c) != std::string_view::npos;
}

struct Conversion {
    std::string layout; // "%" with flags, width and precision
    char type = 0;
    std::size_t length = 0; // in the template, length modifier and type included
};

std::size_t count_leading(std::string_view text, std::string_view set) {
    return std::min(text.find_first_not_of(set), text.size());
}

// The conversion at the start of a text that begins with '%'.
std::optional<Conversion> parse_conversion(std::string_view text) {
    std::size_t end = 1 + count_leading(text.substr(1), FLAGS);
    const std::size_t width = count_leading(text.substr(end), DIGITS);
    end += width;
    std::size_t precision = 0;
    if (end < text.size() && text[end] == '.') {
        precision = count_leading(text.substr(end + 1), DIGITS);
        end += 1 + precision;
    }
    const std::size_t type = end + count_leading(text.substr(end), LENGTH_MODIFIERS);
    if (type >= text.size() || std::max(width, precision) > MAX_DIGITS) {
        return std::nullopt;
    }
    if (!contains("sc", text[type]) && !contains(SIGNED_TYPES, text[type]) &&
        !contains(UNSIGNED_TYPES, text[type]) && !contains(REAL_TYPES, text[type])) {
        return std::nullopt;
    }
    return Conversion{std::string(text.substr(0, end)), text[type], type + 1};
}

// Goes through the arguments of one message, and notes what they are.
class Arguments {
  public:
    Arguments(std::va_list arguments, FilledMessage& message) : message_(message) {
        va_copy(list_, arguments);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;
    ~Arguments() { va_end(list_); }

    std::int64_t next_integer() { return static_cast<std::int64_t>(next_unsigned()); }
    std::uint64_t next_unsigned() {
        message_.integers.push_back(va_arg(list_, std::uint64_t));
        return message_.integers.back();
    }
    double next_real() { return va_arg(list_, double); }
    const char* next_text() {
        const char* text = va_arg(list_, const char*);
        message_.has_null_text = message_.has_null_text || text == nullptr;
        return text == nullptr ? "(null)" : text;
    }

  private:
    FilledMessage& message_;
    std::va_list list_;
};

std::string render(const Conversion& conversion, Arguments& arguments) {
    const char type = conversion.type;
    if (type == 'p') {
        return fmt::sprintf("0x%x", arguments.next_unsigned());
    }
    if (type == 's') {
        return fmt::sprintf(conversion.layout + type, arguments.next_text());
    }
    if (type == 'c') {
        return fmt::sprintf(conversion.layout + type, static_cast<char>(arguments.next_integer()));
    }
    if (contains(SIGNED_TYPES, type)) {
        return fmt::sprintf(conversion.layout + type, arguments.next_integer());
    }
    if (contains(UNSIGNED_TYPES, type)) {
        return fmt::sprintf(conversion.layout + type, arguments.next_unsigned());
    }
    return fmt::sprintf(conversion.layout + type, arguments.next_real());
}

// Flags that do not go with a type ("%+s") leave the argument used and the text as it is.
std::string render_or_keep(const Conversion& conversion, std::string_view text,
                           Arguments& arguments) {
    try {
        return render(conversion, arguments);
    } catch (const fmt::format_error&) {
        return std::string(text.substr(0, conversion.length));
    }
}

bool has_conversion(std::string_view text) {
    for (std::size_t at = text.find('%'); at != text.npos; at = text.find('%', at)) {
        if (parse_conversion(text.substr(at))) {
            return true;
        }
        at += text.substr(at).starts_with("%%") ? 2U : 1U;
    }
    return false;
}

} // namespace

FilledMessage fill_message(const char* message, std::va_list list) {
    FilledMessage filled;
    Arguments arguments(list, filled);
    std::string_view rest = message;
    const bool takes_braces = rest.find("{}") != rest.npos && !has_conversion(rest);
    std::string& text = filled.text;
    while (!rest.empty()) {
        const std::size_t as_it_is = std::min(rest.find_first_of("%{"), rest.size());
        text += rest.substr(0, as_it_is);
        rest.remove_prefix(as_it_is);
        if (rest.empty()) {
            break;
        }
        std::size_t taken = 1;
        if (rest.starts_with("%%")) {
            text += '%';
            taken = 2;
        } else if (takes_braces && rest.starts_with("{}")) {
            text += std::to_string(arguments.next_unsigned());
            taken = 2;
        } else if (const auto conversion = rest[0] == '%' ? parse_conversion(rest) : std::nullopt) {
            text += render_or_keep(*conversion, rest, arguments);
            taken = conversion->length;
        } else {
            text += rest[0];
        }
        rest.remove_prefix(taken);
    }
    return filled;
}

} // namespace talvora::host

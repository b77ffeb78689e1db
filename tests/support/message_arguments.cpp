#include "tests/support/message_arguments.h"

#include <array>
#include <stdexcept>
#include <string_view>

namespace talvora::test_support {

namespace {

constexpr std::array CONVERSIONS{std::string_view("%s"), std::string_view("%i"),
                                 std::string_view("%lu"), std::string_view("%f"),
                                 std::string_view("{}")};

// A piece of a template: plain text, then a conversion or, at the end, none.
struct Piece {
    std::string plain;
    std::string_view conversion;
};

std::string_view conversion_at(std::string_view rest) {
    for (const std::string_view conversion : CONVERSIONS) {
        if (rest.starts_with(conversion)) {
            return conversion;
        }
    }
    if (rest.starts_with('%')) {
        throw std::runtime_error("a message holds an unknown conversion: " + std::string(rest));
    }
    return {};
}

std::vector<Piece> split_template(std::string_view rest) {
    std::vector<Piece> pieces{{}};
    while (!rest.empty()) {
        const std::string_view conversion = conversion_at(rest);
        if (conversion.empty()) {
            pieces.back().plain += rest.front();
        } else {
            pieces.back().conversion = conversion;
            pieces.emplace_back();
        }
        rest.remove_prefix(conversion.empty() ? 1 : conversion.size());
    }
    return pieces;
}

MessageArgument checked_text(const char* text) {
    if (text == nullptr) {
        throw std::runtime_error("a message has a null text among its arguments");
    }
    return std::string(text);
}

std::string render(const MessageArgument& argument) {
    if (const auto* text = std::get_if<std::string>(&argument)) {
        return *text;
    }
    if (const auto* number = std::get_if<double>(&argument)) {
        return std::to_string(*number);
    }
    if (const auto* natural = std::get_if<std::uint64_t>(&argument)) {
        return std::to_string(*natural);
    }
    return std::to_string(std::get<std::int64_t>(argument));
}

const char* channel_name(Channel channel) {
    switch (channel) {
    case Channel::CONTEXT_ERROR:
        return "context error: ";
    case Channel::ERROR:
        return "error: ";
    case Channel::WARNING:
        return "warning: ";
    case Channel::INFO:
        return "info: ";
    }
    return "";
}

} // namespace

std::string Message::text() const {
    std::string text = channel_name(channel);
    std::size_t next = 0;
    for (const Piece& piece : split_template(text_template)) {
        text += piece.plain;
        if (!piece.conversion.empty()) {
            text += next < arguments.size() ? render(arguments[next++]) : "?";
        }
    }
    return text;
}

std::vector<MessageArgument> read_arguments(const std::string& text_template, std::va_list list) {
    std::vector<MessageArgument> arguments;
    for (const Piece& piece : split_template(text_template)) {
        if (piece.conversion == "%s") {
            arguments.push_back(checked_text(va_arg(list, const char*)));
        } else if (piece.conversion == "%i") {
            arguments.emplace_back(va_arg(list, std::int64_t));
        } else if (piece.conversion == "%f") {
            arguments.emplace_back(va_arg(list, double));
        } else if (!piece.conversion.empty()) {
            arguments.emplace_back(va_arg(list, std::uint64_t));
        }
    }
    return arguments;
}

} // namespace talvora::test_support

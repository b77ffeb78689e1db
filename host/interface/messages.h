// Messages for the user: their levels, where they go, and how the templates in which a
// plug-in sends them are filled in.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talvora::host {

struct Message {
    enum Level { Error, Warning, Info };

    Level level = Info;
    std::string text;
    // The integers among its arguments, with all their bits.
    std::vector<std::uint64_t> integers{};
};

// Receives each message as it comes. It must not throw: it is called from within the
// plug-in.
using MessageSink = std::function<void(const Message&)>;

// A template filled in, and what its arguments were.
struct FilledMessage {
    std::string text;
    std::vector<std::uint64_t> integers;
    bool has_null_text = false; // a null pointer stood where a text was to be
};

// Fills in a template with the arguments behind it.
//
// A template with printf conversions takes an argument per conversion: every integer
// conversion, whatever its length modifier, an integer of 64 bits, shown with all of
// them; the conversions of reals a double; %s a pointer to a NUL-terminated text. A
// template without any takes an unsigned 64-bit integer for each "{}". Both know %% for
// a per cent sign. Anything else, %n and * included, stands for itself and takes no
// argument, and a width or precision above 999 is not a conversion: a template may ask
// for nothing but text. (That its arguments fit is the sender's promise.)
FilledMessage fill_message(const char* message, std::va_list list);

} // namespace talvora::host

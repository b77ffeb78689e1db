#include "host/text/markup.h"

namespace talvora::host {

std::string escape_markup(std::string_view text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += static_cast<unsigned char>(letter) < ' ' ? ' ' : letter;
        }
    }
    return escaped;
}

} // namespace talvora::host

#include "host/recipes/json_text.h"

#include "host/text/failure.h"
#include "host/text/utf8.h"

#include <fmt/format.h>

namespace talvora::host {
namespace {

using Json = nlohmann::ordered_json;

Json escape_texts(const Json& json) {
    if (json.is_string()) {
        return escape_invalid_utf8(json.get<std::string>());
    }
    if (json.is_array()) {
        Json array = Json::array();
        for (const Json& item : json) {
            array.push_back(escape_texts(item));
        }
        return array;
    }
    if (json.is_object()) {
        Json object = Json::object();
        for (const auto& [key, value] : json.items()) {
            object[escape_invalid_utf8(key)] = escape_texts(value);
        }
        return object;
    }
    return json;
}

} // namespace

std::string format_json(const Json& json, int indent) {
    try {
        return json.dump(indent);
    } catch (const Json::type_error&) { // a byte that is no UTF-8
        return escape_texts(json).dump(indent);
    }
}

void refuse_invalid_utf8(std::string_view text) {
    if (find_invalid_utf8(text)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("'{}' is no UTF-8, and the history cannot keep it",
                                  escape_invalid_utf8(text)));
    }
}

} // namespace talvora::host

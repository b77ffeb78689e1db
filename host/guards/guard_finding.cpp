#include "host/guards/guard_finding.h"

namespace talvora::host {

using Json = nlohmann::ordered_json;

Json make_json(const GuardFinding& finding) {
    return {{"name", finding.guard},
            {"step", finding.step},
            {"set", finding.set.empty() ? Json(nullptr) : Json(finding.set)},
            {"text", finding.text},
            {"numbers", finding.numbers},
            {"accepted", finding.accepted}};
}

GuardFinding parse_finding(const Json& json) {
    const Json& set = json.at("set");
    return {.guard = json.at("name").get<std::string>(),
            .step = json.at("step").get<std::string>(),
            .set = set.is_null() ? "" : set.get<std::string>(),
            .text = json.at("text").get<std::string>(),
            .remedy = {},
            .numbers = json.at("numbers"),
            .accepted = json.at("accepted").get<bool>()};
}

} // namespace talvora::host

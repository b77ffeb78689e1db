// What a guard found: a condition that would make the result of a step mislead.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace talvora::host {

struct GuardFinding {
    std::string guard = {}; // its name
    std::string step = {};  // the step's name
    std::string set = {};   // path of the data set that it is about; empty: the step as a whole
    std::string text;       // what is wrong, with numbers; without the names above
    std::string remedy;     // what to type instead
    nlohmann::ordered_json numbers = nlohmann::ordered_json::object(); // of the text, by name
    bool accepted = false;
};

// All but the remedy, which messages tell; `set` is null for the step as a whole.
nlohmann::ordered_json make_json(const GuardFinding& finding);
// Throws an exception of the JSON library's for what make_json does not make.
GuardFinding parse_finding(const nlohmann::ordered_json& json);

} // namespace talvora::host

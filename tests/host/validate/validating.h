// Plug-ins tried by the validator, each check in a process of the small program.
#pragma once

#include "host/validate/validator.h"

#include <string>
#include <vector>

namespace talvora::host {

inline std::filesystem::path faulty_plugin(const std::string& fault) {
    return std::filesystem::path(FAULTY_PLUGINS) / (fault + ".so");
}

inline std::vector<CheckResult> validate(const std::filesystem::path& plugin,
                                         const std::string& only = "*",
                                         std::chrono::milliseconds limit = std::chrono::minutes(2),
                                         const CheckSettings& settings = {}) {
    ValidatorOptions options;
    options.plugin = plugin;
    options.self = {VALIDATE_PROGRAM, "--child"};
    options.only = only;
    options.limit = limit;
    options.settings = settings;
    return validate(options, [](const CheckResult&) {});
}

} // namespace talvora::host

#include "host/validate/library_checks.h"

#include "host/validate/examined_plugin.h"
#include "host/validate/exported_names.h"

#include <fmt/format.h>

#include <stdexcept>

namespace talvora::host {

void check_loading(Examination& examination) {
    if (const auto other = describe_other_machine(examination.file()); !other.empty()) {
        return examination.fail(other);
    }
    for (int i = 0; i < 3; ++i) {
        examination.at(fmt::format("loading, time {}", i + 1));
        try {
            const ExaminedLibrary plugin(examination.file());
            examination.expect(plugin.entry != nullptr,
                               fmt::format("there is no function '{}'", PLUGIN_ENTRY_NAME));
        } catch (const std::runtime_error& error) {
            examination.fail(error.what());
        }
    }
}

void check_exported_names(Examination& examination) {
    try {
        for (const std::string& name : list_exported_names(examination.file())) {
            examination.expect(name == PLUGIN_ENTRY_NAME, fmt::format("exports '{}' too", name));
        }
    } catch (const std::runtime_error& error) {
        examination.fail(error.what());
    }
}

} // namespace talvora::host

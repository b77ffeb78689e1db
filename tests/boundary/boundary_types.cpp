// Every type that crosses between host and plug-in, in a library of its own that is built
// to be looked at: the records of its debug information and the layouts that a compiler
// gives these types are compared with those kept in reference/.
#include "plugin/plugin_api.h"

namespace talvora {

// What the library answers.
extern const plugin_descriptor boundary_plugin{};
extern const unit_descriptor boundary_unit{};
extern const plugin_entry boundary_entry = nullptr;
extern decltype(&talvora_plugin_api) const boundary_entry_as_declared = nullptr;

// The tables and records of the host.
extern const context_api boundary_context{};
extern const group_api boundary_group{};
extern const dataset_api boundary_dataset{};
extern const log_api boundary_log{};
extern const host_list boundary_list{};
extern const host_string boundary_string{};
extern const host_shape boundary_shape{};

// What is called in either direction outside the tables.
extern const get_interface_function boundary_get_interface = nullptr;
extern const visit_groups_callback boundary_visit = nullptr;

} // namespace talvora

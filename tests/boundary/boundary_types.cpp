// Every type that crosses between host and plug-in, in a library of its own that is built
// to be looked at: its debug information, and the layouts that a compiler gives these types,
// are compared with those kept in reference/.
#include "plugin/plugin_api.h"

namespace talvora {

// What the library answers to its host, and how it is asked.
extern "C" void plugin_side(plugin_descriptor, unit_descriptor, plugin_entry,
                            decltype(&talvora_plugin_api)) {}

// What it asks of its host.
extern "C" void host_side(get_interface_function, context_api, group_api, dataset_api, log_api,
                          visit_groups_callback) {}

// What it gets from its host.
extern "C" void records(host_list, host_string, host_shape, group_handle, dataset_handle) {}

} // namespace talvora

// The host's function tables, fetched by their numbers. They are borrowed for one
// operation and never kept; a host has all four.
#pragma once

#include "plugin/host_interfaces.h"

namespace talvora {

inline const context_api& get_context_api(get_interface_function get_interface) {
    return *static_cast<const context_api*>(get_interface(CONTEXT_API_ID));
}

inline const group_api& get_group_api(get_interface_function get_interface) {
    return *static_cast<const group_api*>(get_interface(GROUP_API_ID));
}

inline const dataset_api& get_dataset_api(get_interface_function get_interface) {
    return *static_cast<const dataset_api*>(get_interface(DATASET_API_ID));
}

inline const log_api& get_log_api(get_interface_function get_interface) {
    return *static_cast<const log_api*>(get_interface(LOG_API_ID));
}

inline group_handle get_root_group(const context_api& context, call_context* ctx) {
    group_handle root{};
    context.root_group(&root, ctx);
    return root;
}

} // namespace talvora
